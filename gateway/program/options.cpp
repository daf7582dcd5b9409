#include "gateway/program/options.hpp"

#include <CLI/CLI.hpp>
#include <iostream>

namespace avoip::gw {
namespace {

constexpr int kUsage = 2;

/// "user" or "token" with a subcommand for each verb.
CLI::App* addAccounts(CLI::App& app, Options& options, Action action, const std::string& what) {
    CLI::App* const group = app.add_subcommand(what, "Who may use the gateway: " + what + "s");
    group->require_subcommand(1);
    group->fallthrough();
    const auto add = [&](const std::string& verb, const std::string& summary) {
        CLI::App* const sub = group->add_subcommand(verb, summary);
        sub->fallthrough();
        sub->callback([&options, action, verb] {
            options.action = action;
            options.verb = verb;
        });
        if (verb != "list") {
            sub->add_option("NAME", options.name, "its name")->required();
        }
        return sub;
    };
    const auto addRole = [&](CLI::App* sub) {
        sub->add_option("--role", options.role, "viewer, operator or admin")
            ->required()
            ->check(CLI::IsMember({"viewer", "operator", "admin"}));
    };
    addRole(add("add", "Add a " + what));
    add("list", "List them, each with its role");
    add("remove", "Remove a " + what);
    return group;
}

void addRooms(CLI::App& token, Options& options) {
    token.get_subcommand("add")->add_option("--room", options.rooms,
                                            "limits it to a room; may be given several times");
}

void addPasswords(CLI::App& user, Options& options) {
    CLI::App* const change = user.add_subcommand("password", "Give a user another password");
    change->fallthrough();
    change->add_option("NAME", options.name, "its name")->required();
    change->callback([&options] {
        options.action = Action::kUser;
        options.verb = "password";
    });
    for (CLI::App* const sub : {change, user.get_subcommand("add")}) {
        sub->add_flag("--password-stdin", options.passwordFromInput,
                      "read the password from the first line of standard input");
    }
}

}  // namespace

std::optional<Options> Options_read(int argc, char** argv, int& status) {
    Options options;
    CLI::App app("The fleet's state over HTTP", "avoipgw");
    app.set_version_flag("--version", std::string("avoipgw ") + AVOIP_VERSION);
    app.add_option("--config", options.config, "the configuration (/etc/avoip/gateway.toml)");
    bool check = false;
    bool print = false;
    app.add_flag("--check", check, "look at the configuration, and end");
    app.add_flag("--print-config", print, "print the whole configuration, and end");
    app.require_subcommand(0, 1);
    addPasswords(*addAccounts(app, options, Action::kUser, "user"), options);
    addRooms(*addAccounts(app, options, Action::kToken, "token"), options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error, std::cout, std::cerr) == 0 ? 0 : kUsage;
        return std::nullopt;
    }
    if (options.action == Action::kServe && (check || print)) {
        options.action = print ? Action::kPrintConfig : Action::kCheck;
    }
    return options;
}

}  // namespace avoip::gw
