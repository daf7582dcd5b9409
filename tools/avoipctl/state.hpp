// What avoipctl keeps from one run to the next: the prompt's history and the device identities
// that were last seen, in $XDG_STATE_HOME/avoipctl, or ~/.local/state/avoipctl without it. It is a
// convenience: where the folder cannot be had, nothing is kept and nothing is said.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip::ctl {

/// The path of the file `name` in the state folder, which is made if need be; empty when there is
/// no such folder.
std::filesystem::path State_file(std::string_view name);

/// The identities last seen, sorted, each once.
std::vector<std::string> State_identities();

/// Adds identities to those last seen, or replaces them. Texts that could be no identity on a
/// command line are left out.
void State_remember(std::span<const std::string> identities, bool replace);

}  // namespace avoip::ctl
