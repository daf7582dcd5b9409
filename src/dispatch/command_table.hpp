// The console's commands: one row each, in the order in which they are tried.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

/// A command function: takes the connection's socket, the command line and the address of the
/// pointer to the answer buffer; stores its answer there and returns 0, or prints its error line
/// and returns a negative value.
using CommandFunction = int (*)(int socket, const char* line, char** answer);

/// Stands for the comparison of the complete line.
inline constexpr std::size_t kWholeLine = std::string_view::npos;

struct CommandRow {
    std::string_view text;
    /// How many leading characters are compared with the line's, or kWholeLine.
    std::size_t compared;
    /// Null for a command that is always answered with failure.
    CommandFunction function;
    /// The "cmd" of the failure answer.
    const char* reportedName;
};

/// The row whose text the line matches; null when there is none. The first one in order wins.
const CommandRow* CommandTable_find(std::string_view line);

/// All rows, in order.
std::span<const CommandRow> CommandTable_rows();
