// Texts: UTF-8, and the names that people give to things.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace avoip::gw {

/// How many bytes the UTF-8 character takes that `text` begins with; 0 when there is none.
std::size_t Text_characterSize(std::string_view text);

bool Text_isUtf8(std::string_view text);

/// The text with U+FFFD in place of every byte that is no UTF-8.
std::string Text_repaired(std::string text);

/// What is wrong with `name` as the name of a preset, a room, a wall, a user or a token; nothing
/// when it is 1 to 64 characters of UTF-8 without control characters and "/".
std::string Text_nameProblem(std::string_view name);

}  // namespace avoip::gw
