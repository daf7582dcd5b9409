// What the command line takes: the commands of the catalogue as subcommands, each with its
// arguments, options and help.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string_view>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// What is to be done when the command line is understood.
using Action = std::function<Status()>;

/// Adds a subcommand to `parent`.
CLI::App* Registration_sub(CLI::App& parent, std::string_view name, std::string_view summary);

/// Adds all commands of the catalogue. What they are to do is put into `action`.
void Registration_catalogue(CLI::App& app, Session& session, Action& action);

/// Adds --columns, --watch and --interval to a list.
void Registration_list(CLI::App& sub, Options& options);

/// Adds --yes to what concerns every device.
void Registration_yes(CLI::App& sub, Options& options);

}  // namespace avoip::ctl
