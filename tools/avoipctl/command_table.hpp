// The command table of the documentation, in Markdown.
#pragma once

#include <string>

/// A table of all commands: console text, subcommand, what it does, and what the answer holds.
std::string CommandTable_print();
