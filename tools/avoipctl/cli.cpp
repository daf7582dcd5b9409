#include "avoipctl/cli.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <ostream>

#include "avoipctl/command_table.hpp"
#include "avoipctl/completion.hpp"
#include "avoipctl/line.hpp"
#include "avoipctl/prompt.hpp"
#include "avoipctl/report.hpp"
#include "avoipctl/routes.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/subcommand.hpp"
#include "avoipctl/suggest.hpp"
#include "avoipctl/supervision.hpp"
#include "avoipctl/update.hpp"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "lib/health/state_folder.hpp"

namespace avoip::ctl {
namespace {

using Action = std::function<Status()>;

constexpr const char* kAbout =
    "avoipctl talks to avoipd, the control daemon of an AV-over-IP system, on this machine.\n"
    "Without a subcommand it is a prompt.";

constexpr const char* kEnding =
    "Exit status: 0 success, 1 the daemon answered failure, or what came cannot be believed, 2 "
    "wrong\n"
    "usage, 3 no daemon or no answer segment, 4 no answer in time, 5 no turn in time (nothing was\n"
    "sent).\n\n"
    "Environment: AVOIP_LOCK_FILE names the lock file by which front ends take turns; all need "
    "the\n"
    "same. XDG_STATE_HOME is where the history and the devices last seen are kept.";

/// What a value of this argument looks like, for the help.
std::string typeName(const Argument& argument) {
    switch (argument.kind) {
        case ArgumentKind::kIdentity:
        case ArgumentKind::kLastIdentity:
            return "ID";
        case ArgumentKind::kChoice: {
            std::string choices(argument.choices);
            std::ranges::replace(choices, ' ', '|');
            return choices;
        }
        case ArgumentKind::kNumber:
            return argument.maximum - std::int64_t{argument.minimum} > std::int64_t{1} << 31
                       ? "NUMBER"
                       : std::to_string(argument.minimum) + "-" + std::to_string(argument.maximum);
        case ArgumentKind::kAddress:
            return "ADDRESS";
        case ArgumentKind::kHex:
            return "HEX";
        case ArgumentKind::kPath:
            return "FILE";
        case ArgumentKind::kAlias:
        case ArgumentKind::kWord:
            return "TEXT";
    }
    return "TEXT";
}

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
    CLI::App* const sub = parent.add_subcommand(std::string(name), std::string(summary));
    // --json and its like may stand behind the subcommand too.
    sub->fallthrough();
    return sub;
}

void addCommand(CLI::App& parent, const Command& command, Session& session, Action& action) {
    CLI::App* const sub = addSubcommand(
        parent, command.action.empty() ? command.group : command.action, command.summary);
    const auto values = std::make_shared<std::vector<std::string>>(command.arguments.size());
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
        const Argument& argument = command.arguments[i];
        sub->add_option(std::string(argument.name), (*values)[i], std::string(argument.summary))
            ->required()
            ->type_name(typeName(argument))
            ->check([&argument](const std::string& value) {
                return Arguments_problem(argument, value);
            });
    }
    sub->footer("Example:\n  " + Subcommand_example(command) +
                "\nwhich sends the console text\n  " +
                Arguments_consoleText(command, Arguments_examples(command)));
    if (command.shape.key == "rxedid") {
        sub->add_flag("--edid-decode", session.options.edidDecode,
                      "Let the program edid-decode explain the EDID too");
    }
    if (command.exchange.kind == ExchangeKind::kSending) {
        sub->add_flag("--verify", session.options.verify,
                      "Ask the device back, twice, and say whether it has done it");
    }
    sub->callback([&session, &command, &action, values] {
        const auto run = command.group == "update" ? &Update_run : &Run_command;
        action = [&session, &command, run, values] { return run(session, command, *values); };
    });
}

/// The subcommand that holds the actions of `command`'s group, made when it is not there yet; the
/// app itself when the command is a subcommand of its own.
CLI::App& groupOf(CLI::App& app, const Command& command) {
    const auto groups = Catalogue_groups();
    const auto group = std::ranges::find(groups, command.group, &Group::name);
    if (group == groups.end()) {
        return app;
    }
    const auto made =
        app.get_subcommands([&](const CLI::App* sub) { return sub->get_name() == command.group; });
    if (!made.empty()) {
        return *made.front();
    }
    CLI::App* const sub = addSubcommand(app, group->name, group->summary);
    sub->require_subcommand(1);
    return *sub;
}

void addCatalogue(CLI::App& app, Session& session, Action& action) {
    for (const Command& command : Catalogue_commands()) {
        addCommand(groupOf(app, command), command, session, action);
    }
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

void addRoutes(CLI::App& app, Session& session, Action& action) {
    CLI::App* const sub =
        addSubcommand(app, "routes", "Show all routes as a matrix of decoders by encoders");
    const auto kind = std::make_shared<std::string>("video");
    sub->add_option("kind", *kind, "Which routes")
        ->capture_default_str()
        ->type_name("video|serial|ir")
        ->check(CLI::IsMember({"video", "serial", "ir"}));
    sub->footer("Example:\n  avoipctl routes serial");
    sub->callback([&session, &action, kind] {
        action = [&session, kind] { return Routes_run(session, *kind); };
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

/// For the completion script of bash: what may stand in place of the last word, one a line.
Status printCompletion(Session& session, const std::vector<std::string>& words) {
    for (const std::string& candidate :
         Completion_candidates(Line_withoutOptions(words), State_identities(), false)) {
        session.out << Line_trimmed(candidate) << '\n';
    }
    return kSuccess;
}

/// The names of the subcommands of `app`.
std::vector<std::string> subcommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(sub->get_name());
    }
    return names;
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
    CLI::App app(kAbout, "avoipctl");
    app.footer(kEnding);
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", "avoipctl " AVOIP_VERSION);
    Action action;
    if (!session.atPrompt) {
        addHost(app, session.options);
    }
    addOptions(app, session.options);
    addCatalogue(app, session, action);
    addRoutes(app, session, action);
    addImage(app, session, action);
    addSend(app, session, action);
    addHealth(app, session, action);
    addReport(app, session, action);
    app.add_flag_callback(
        "--bash-completion",
        [&session, &action] {
            action = [&session] {
                session.out << Completion_bashScript();
                return kSuccess;
            };
        },
        "Print a completion script for bash");
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
