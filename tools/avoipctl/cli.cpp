#include "avoipctl/cli.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>

#include "avoipctl/command_table.hpp"
#include "avoipctl/completion.hpp"
#include "avoipctl/help.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/own_commands.hpp"
#include "avoipctl/prompt.hpp"
#include "avoipctl/registration.hpp"
#include "avoipctl/report.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/suggest.hpp"
#include "avoipctl/supervision.hpp"
#include "avoipctl/update.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "lib/health/state_folder.hpp"

namespace avoip::ctl {
namespace {

constexpr const char* kAbout =
    "avoipctl talks to avoipd, the control daemon of an AV-over-IP system, on this machine.\n"
    "Without a subcommand it is a prompt.";

constexpr const char* kEnding =
    "Exit status: 0 success, 1 the daemon answered failure, or what came cannot be believed, or "
    "the\n"
    "output could not be written, 2 wrong usage, 3 no daemon or no answer segment, 4 no answer in "
    "time, 5 no turn in time (nothing was\n"
    "sent).\n\n"
    "Environment: AVOIP_LOCK_FILE names the lock file by which front ends take turns; all need "
    "the\n"
    "same. XDG_STATE_HOME is where the history and the devices last seen are kept.";

void addHost(CLI::App& app, Options& options) {
    app.add_option("--host", options.host,
                   "Host of the console. The daemon runs on this machine all the same: its answers "
                   "are in this machine's memory.")
        ->capture_default_str();
    app.add_option("--port", options.port, "Port of the console")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
}

void addOptions(CLI::App& app, Options& options) {
    app.add_option("--timeout", options.timeout_s,
                   "Seconds to wait for an answer, instead of each command's own time")
        ->check(CLI::Range(0.001, 86400.0));
    app.add_flag("--json", options.json, "Print the daemon's answer as it is");
}

CLI::App* addSubcommand(CLI::App& parent, std::string_view name, std::string_view summary) {
    return Registration_sub(parent, name, summary);
}

void addImage(CLI::App& app, Session& session, Action& action) {
    CLI::App* const sub = addSubcommand(app, "image", "Show what a firmware image says of itself");
    const auto path = std::make_shared<std::string>();
    sub->add_option("file", *path, "the image file")->required()->type_name("FILE");
    sub->footer("Example:\n  avoipctl image /srv/firmware/image.bin");
    sub->callback([&session, &action, path] {
        action = [&session, path] { return Update_showImage(session, *path); };
    });
}

void addSend(CLI::App& app, Session& session, Action& action) {
    CLI::App* const sub = addSubcommand(app, "send", "Send any console text, print the answer");
    const auto words = std::make_shared<std::vector<std::string>>();
    sub->add_option("text", *words, "the console text with its \"!\"; words are joined by blanks")
        ->required();
    sub->footer("Example:\n  avoipctl send 'config get devices!'");
    sub->callback([&session, &action, words] {
        action = [&session, words] { return Run_send(session, CLI::detail::join(*words, " ")); };
    });
}

using ShowState = Status (*)(Session&, const std::string& stateFolder);

/// A subcommand about the daemon as a whole, which looks into the folder of its supervisor.
void addStateView(CLI::App& app, Session& session, Action& action, ShowState show,
                  const std::string& name, const std::string& summary, const std::string& footer) {
    CLI::App* const sub = addSubcommand(app, name, summary);
    const auto folder = std::make_shared<std::string>(kStateFolder);
    sub->add_option("--state-folder", *folder, "Where avoipguard keeps its state")
        ->capture_default_str()
        ->type_name("DIR");
    sub->footer(footer);
    sub->callback([&session, &action, folder, show] {
        action = [&session, folder, show] { return show(session, *folder); };
    });
}

void addHealth(CLI::App& app, Session& session, Action& action) {
    addStateView(app, session, action, Supervision_show, "health", "Show whether the daemon works",
                 "Where no avoipguard runs, the daemon is asked for its devices.\n"
                 "Exit status: 0 it works, 1 it is of no use, 2 wrong usage, 3 it is not there,\n"
                 "5 it could not be asked, since other front ends were at it all the time.\n\n"
                 "Example:\n  avoipctl health --json");
}

void addReport(CLI::App& app, Session& session, Action& action) {
    addStateView(
        app, session, action, Report_show, "report", "Print what to send with a bug report",
        "Each answer stands below the shell command that asks for it. Of the journal there\n"
        "are avoipguard's lines alone: the daemon's show commands with their values.\n\n"
        "Example:\n  avoipctl report >report.md");
}

/// For the completion scripts of shells: what may stand in place of the last word, one a line.
Status printCompletion(Session& session, const std::vector<std::string>& words) {
    for (const std::string& candidate :
         Completion_candidates(words, {State_identities(), State_aliases()}, false)) {
        session.out << Line_trimmed(candidate) << '\n';
    }
    return kSuccess;
}

void addScripts(CLI::App& app, Session& session, Action& action) {
    const std::pair<const char*, Shell> shells[] = {
        {"bash", Shell::kBash}, {"zsh", Shell::kZsh}, {"fish", Shell::kFish}};
    for (const auto& [name, shell] : shells) {
        app.add_flag_callback(
            std::string("--") + name + "-completion",
            [&session, &action, shell = shell] {
                action = [&session, shell] {
                    session.out << Completion_script(shell);
                    return kSuccess;
                };
            },
            std::string("Print a completion script for ") + name);
    }
}

/// The names of the subcommands of `app`.
std::vector<std::string> subcommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(sub->get_name());
    }
    return names;
}

bool takesWords(const CLI::App& app) {
    return !app.get_options([](const CLI::Option* option) { return option->get_positional(); })
                .empty();
}

/// What is wrong with the first word that stands where a subcommand should and is none; nothing
/// when there is no such word.
std::string unknownWord(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* level = &app;
    for (const std::string& word : Line_withoutOptions(words)) {
        const std::vector<std::string> names = subcommandNames(*level);
        if (names.empty()) {
            return {};
        }
        if (std::ranges::find(names, word) == names.end()) {
            if (takesWords(*level)) {
                return {};
            }
            const std::vector<std::string_view> candidates(names.begin(), names.end());
            const std::string question = Suggest_question(Suggest_nearest(word, candidates));
            return "\"" + word + "\" is no subcommand." + (question.empty() ? "" : " " + question);
        }
        level = level->get_subcommand(word);
    }
    return {};
}

Status reportUsage(Session& session, const CLI::App& app, const CLI::ParseError& error,
                   const std::vector<std::string>& words) {
    const std::string unknown = unknownWord(app, words);
    Session_error(session, unknown.empty() ? error.what() : unknown);
    if (session.atPrompt && Catalogue_findText(CLI::detail::join(words, " ")) != nullptr) {
        session.err << "A console text ends in \"!\".\n";
    }
    session.err << (session.atPrompt ? "Type \"help\" for help.\n"
                                     : "Run avoipctl --help for help.\n");
    return kWrongUsage;
}

}  // namespace

Status Cli_run(Session& session, const std::vector<std::string>& words) {
    // Two options for scripts, which the help does not name.
    if (words == std::vector<std::string>{"--print-command-table"}) {
        session.out << CommandTable_print();
        return kSuccess;
    }
    if (!words.empty() && words.front() == "--complete") {
        return printCompletion(session, {words.begin() + 1, words.end()});
    }
    session.screen = Screen_now();
    CLI::App app(kAbout, "avoipctl");
    app.footer(kEnding);
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", "avoipctl " AVOIP_VERSION);
    Action action;
    if (!session.atPrompt) {
        addHost(app, session.options);
    }
    addOptions(app, session.options);
    Registration_catalogue(app, session, action);
    OwnCommands_add(app, session, action);
    addImage(app, session, action);
    addSend(app, session, action);
    addHealth(app, session, action);
    addReport(app, session, action);
    addScripts(app, session, action);
    app.set_help_all_flag("--help-all", "Print all there is to say");
    if (words.size() == 1 && (words.front() == "--help" || words.front() == "-h")) {
        session.out << Help_screen(subcommandNames(app));
        return kSuccess;
    }
    try {
        // CLI11 takes the words from the back.
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            app.exit(error, session.out, session.err);
            return kSuccess;
        }
        return reportUsage(session, app, error, words);
    }
    if (action) {
        return action();
    }
    return session.atPrompt ? kSuccess : Prompt_run(session);
}

}  // namespace avoip::ctl
