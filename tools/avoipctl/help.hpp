// The first help: all subcommands by what they are for, on one screen.
#pragma once

#include <span>
#include <string>

namespace avoip::ctl {

/// The text, of at most 24 lines and 80 columns. Subcommands of `names` that no group has stand in
/// one of their own.
std::string Help_screen(std::span<const std::string> names);

}  // namespace avoip::ctl
