// What avoipctl keeps from one run to the next: the prompt's history and the device identities
// that were last seen, in $XDG_STATE_HOME/avoipctl, or ~/.local/state/avoipctl without it. It is a
// convenience: where the folder cannot be had, nothing is kept and nothing is said.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "lib/client/fleet.hpp"

namespace avoip::ctl {

/// The path of the file `name` in the state folder, which is made if need be; empty when there is
/// no such folder.
std::filesystem::path State_file(std::string_view name);

/// The identities of the devices that were last listed, sorted.
std::vector<std::string> State_identities();

/// Keeps what a list of devices says. Texts that could be no identity on a command line are left
/// out.
void State_remember(const Command& listing, const Answer& answer);

/// The aliases of the devices that were last listed, sorted: those that one device alone has, and
/// that can be shown and quoted.
std::vector<std::string> State_aliases();

/// Whether a device with this identity was in the last list.
bool State_isListed(std::string_view identity);

/// Whether `value` is an identity, devices that this argument can mean have been listed, and it was
/// not among them.
bool State_isMissing(const Argument& argument, std::string_view value);

}  // namespace avoip::ctl
