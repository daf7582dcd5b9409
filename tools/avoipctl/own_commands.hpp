// The subcommands that are more than one command of the console: routes and presets, video walls,
// updates side by side.
#pragma once

#include "avoipctl/registration.hpp"

namespace avoip::ctl {

/// Adds them. Where the catalogue has a group of that name, they become part of it, so it has to be
/// there before.
void OwnCommands_add(CLI::App& app, Session& session, Action& action);

}  // namespace avoip::ctl
