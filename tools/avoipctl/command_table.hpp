// The command table of the documentation, in Markdown.
#pragma once

#include <string>

namespace avoip::ctl {

/// A table of all commands: console text, subcommand, what it does, what the answer holds, and
/// how long avoipctl waits for it.
std::string CommandTable_print();

}  // namespace avoip::ctl
