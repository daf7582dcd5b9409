#include "avoipctl/registration.hpp"

#include <algorithm>
#include <memory>
#include <vector>

#include "avoipctl/change.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/subcommand.hpp"
#include "avoipctl/update.hpp"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"

namespace avoip::ctl {
namespace {

using Values = std::shared_ptr<std::vector<std::string>>;

bool isIdentity(const Argument& argument) {
    return argument.kind == ArgumentKind::kIdentity || argument.kind == ArgumentKind::kLastIdentity;
}

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

/// In place of an identity an alias may be typed; which of them it is shows later.
std::string typedProblem(const Argument& argument, const std::string& value) {
    if (!isIdentity(argument)) {
        return Arguments_problem(argument, value);
    }
    Argument alias = argument;
    alias.kind = ArgumentKind::kAlias;
    return Arguments_problem(alias, value);
}

void describe(CLI::Option& option, const Argument& argument) {
    option.type_name(typeName(argument))->check([&argument](const std::string& value) {
        return typedProblem(argument, value);
    });
}

/// The arguments as words that stand in their order.
void addWords(CLI::App& sub, const Command& command, const Values& values, std::size_t required) {
    for (std::size_t i = 0; i < command.arguments.size(); ++i) {
        const Argument& argument = command.arguments[i];
        CLI::Option& option = *sub.add_option(std::string(argument.name), (*values)[i],
                                              std::string(argument.summary));
        option.required(i < required);
        describe(option, argument);
    }
}

/// The arguments behind the device as options, for who changes some of them only.
void addOptions(CLI::App& sub, const Command& command, const Values& changed) {
    for (std::size_t i = 1; i < command.arguments.size(); ++i) {
        const Argument& argument = command.arguments[i];
        CLI::Option& option =
            *sub.add_option("--" + std::string(argument.name), (*changed)[i],
                            std::string(argument.summary) + "; the others stay as they are");
        option.group("To change some of them only");
        describe(option, argument);
    }
}

/// A change that is typed as words, or, where some are to stay, as options.
void addChange(CLI::App& sub, Session& session, const Command& command, Action& action) {
    const auto values = std::make_shared<std::vector<std::string>>(command.arguments.size());
    const auto changed = std::make_shared<std::vector<std::string>>(command.arguments.size());
    addWords(sub, command, values, 1);
    addOptions(sub, command, changed);
    sub.callback([&session, &command, &action, values, changed] {
        const bool some = !std::ranges::all_of(*changed, &std::string::empty);
        const auto words = std::ranges::count_if(*values, [](const auto& v) { return !v.empty(); });
        if (some && words > 1) {
            throw CLI::ValidationError(
                "either all values stand behind the device, or those that "
                "change as options");
        }
        const auto missing = std::ranges::find(*values, "");
        if (!some && missing != values->end()) {
            const auto place = static_cast<std::size_t>(missing - values->begin());
            throw CLI::RequiredError(std::string(command.arguments[place].name));
        }
        if (some) {
            changed->front() = values->front();
            action = [&session, &command, changed] {
                return Change_run(session, command, *changed);
            };
            return;
        }
        action = [&session, &command, values] { return Run_command(session, command, *values); };
    });
}

void addPlain(CLI::App& sub, Session& session, const Command& command, Action& action) {
    const auto values = std::make_shared<std::vector<std::string>>(command.arguments.size());
    addWords(sub, command, values, command.arguments.size());
    sub.callback([&session, &command, &action, values] {
        const auto run = command.group == "update" ? &Update_run : &Run_command;
        action = [&session, &command, run, values] { return run(session, command, *values); };
    });
}

void addCommand(CLI::App& parent, const Command& command, Session& session, Action& action) {
    CLI::App& sub = *Registration_sub(
        parent, command.action.empty() ? command.group : command.action, command.summary);
    sub.footer("Example:\n  " + Subcommand_example(command) + "\nwhich sends the console text\n  " +
               Arguments_consoleText(command, Arguments_examples(command)));
    if (command.exchange.kind == ExchangeKind::kListing) {
        Registration_list(sub, session.options);
    }
    if (command.shape.key == "rxedid") {
        sub.add_flag("--edid-decode", session.options.edidDecode,
                     "Let the program edid-decode explain the EDID too");
    }
    if (command.exchange.kind == ExchangeKind::kSending) {
        sub.add_flag("--verify", session.options.verify,
                     "Ask the device back, twice, and say whether it has done it");
    }
    if (command.everyone) {
        Registration_yes(sub, session.options);
    }
    (Change_isPossible(command) ? addChange : addPlain)(sub, session, command, action);
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
    CLI::App* const sub = Registration_sub(app, group->name, group->summary);
    sub->require_subcommand(1);
    return *sub;
}

}  // namespace

CLI::App* Registration_sub(CLI::App& parent, std::string_view name, std::string_view summary) {
    CLI::App* const sub = parent.add_subcommand(std::string(name), std::string(summary));
    // --json and its like may stand behind the subcommand too.
    sub->fallthrough();
    return sub;
}

void Registration_list(CLI::App& sub, Options& options) {
    sub.add_option("--columns", options.columns,
                   "The columns to show, with commas between them, such as identity,alias")
        ->type_name("NAMES");
    sub.add_flag("--watch", options.watch, "Look again and again, until Ctrl-C");
    sub.add_option("--interval", options.interval_s, "Seconds between two looks of --watch")
        ->capture_default_str()
        ->check(CLI::Range(0.1, 86400.0));
}

void Registration_yes(CLI::App& sub, Options& options) {
    sub.add_flag("-y,--yes", options.yes, "Do not ask whether all devices are meant");
}

void Registration_catalogue(CLI::App& app, Session& session, Action& action) {
    for (const Command& command : Catalogue_commands()) {
        addCommand(groupOf(app, command), command, session, action);
    }
}

}  // namespace avoip::ctl
