#include "avoipctl/cli.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <map>
#include <ostream>

#include "avoipctl/arguments.hpp"
#include "avoipctl/catalogue.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/suggest.hpp"

namespace {

using Action = std::function<Status()>;

constexpr const char* kAbout =
    "avoipctl talks to avoipd, the control daemon of an AV-over-IP system, on this machine.\n"
    "Without a subcommand it is a prompt.";

constexpr const char* kExitStatuses =
    "Exit status: 0 success, 1 the daemon answered failure, 2 wrong usage, 3 no daemon or no\n"
    "answer segment, 4 no answer in time.";

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

void addOptions(CLI::App& app, Options& options) {
    app.add_option("--host", options.host,
                   "Host of the console. The daemon runs on this machine all the same: its answers "
                   "are in this machine's memory.")
        ->capture_default_str();
    app.add_option("--port", options.port, "Port of the console")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
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
    sub->footer("Example:\n  " + Arguments_shellExample(command) +
                "\nwhich sends the console text\n  " +
                Arguments_consoleText(command, Arguments_examples(command)));
    sub->callback([&session, &command, &action, values] {
        action = [&session, &command, values] { return Run_command(session, command, *values); };
    });
}

void addCatalogue(CLI::App& app, Session& session, Action& action) {
    std::map<std::string_view, CLI::App*> groups;
    for (const Group& group : Catalogue_groups()) {
        groups[group.name] = addSubcommand(app, group.name, group.summary);
        groups[group.name]->require_subcommand(1);
    }
    for (const Command& command : Catalogue_commands()) {
        const auto group = groups.find(command.group);
        addCommand(group == groups.end() ? app : *group->second, command, session, action);
    }
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

/// The names of the subcommands of `app`.
std::vector<std::string> subcommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(sub->get_name());
    }
    return names;
}

/// The question for the first word that stands where a subcommand should and is none; nothing when
/// there is no such word.
std::string questionFor(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* level = &app;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word.starts_with("-")) {
            // The value of an option is no subcommand.
            i += word == "--host" || word == "--port" || word == "--timeout" ? 1 : 0;
            continue;
        }
        const std::vector<std::string> names = subcommandNames(*level);
        if (names.empty()) {
            return {};
        }
        if (std::ranges::find(names, word) == names.end()) {
            const std::vector<std::string_view> candidates(names.begin(), names.end());
            return Suggest_question(Suggest_nearest(word, candidates));
        }
        level = level->get_subcommand(word);
    }
    return {};
}

Status reportUsage(Session& session, const CLI::App& app, const CLI::ParseError& error,
                   const std::vector<std::string>& words) {
    std::string message = error.what();
    if (const std::string question = questionFor(app, words); !question.empty()) {
        message += ". " + question;
    }
    Session_error(session, message);
    session.err << (session.at_prompt ? "Type \"help\" for help.\n"
                                      : "Run avoipctl --help for help.\n");
    return kWrongUsage;
}

}  // namespace

Status Cli_run(Session& session, const std::vector<std::string>& words) {
    CLI::App app(kAbout, "avoipctl");
    app.footer(kExitStatuses);
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", AVOIP_VERSION);
    Action action;
    addOptions(app, session.options);
    addCatalogue(app, session, action);
    addSend(app, session, action);
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
    if (!action) {
        session.err << app.help();
        return kWrongUsage;
    }
    return action();
}
