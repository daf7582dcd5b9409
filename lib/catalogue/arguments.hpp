// Arguments: the checks that tell a mistake before the daemon, or a device, makes something else
// of it, and the console text that arguments become.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lib/catalogue/catalogue.hpp"

namespace avoip {

/// The bytes that the console has room for in one word, an identity or an alias.
inline constexpr std::size_t kWordMax = 31;

/// The words of a choice.
std::vector<std::string_view> Arguments_choices(const Argument& argument);

/// Says what is wrong with `value` as this argument, or nothing when it is fine. The text is a
/// sentence without its subject, as in "must be a number from 1 to 30".
std::string Arguments_problem(const Argument& argument, std::string_view value);

/// The console text of `command` with these values, one for each argument, "!" included. The
/// values are taken as they are.
std::string Arguments_consoleText(const Command& command, std::span<const std::string> values);

/// The example values of the command's arguments.
std::vector<std::string> Arguments_examples(const Command& command);

}  // namespace avoip
