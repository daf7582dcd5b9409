// The command line: avoipgw [--config FILE] [--check] [--print-config] [--version], and the
// subcommands for users and tokens.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace avoip::gw {

/// What is to be done.
enum class Action { kServe, kCheck, kPrintConfig, kUser, kToken };

struct Options {
    Action action = Action::kServe;
    std::optional<std::string> config;
    /// Of users and tokens: "add", "list", "remove" or "password".
    std::string verb;
    std::string name;
    std::string role = "viewer";
    std::vector<std::string> rooms;
    bool passwordFromInput = false;
};

/// Reads the command line. Nothing when the program is to end at once, with `status`: help or the
/// version was printed, or what is wrong.
std::optional<Options> Options_read(int argc, char** argv, int& status);

}  // namespace avoip::gw
