// Makes a line of text harmless for whoever shows it.
#pragma once

#include <string>
#include <string_view>

namespace avoip::guard {

/// The text with "\xNN" in place of each byte of what is no letter: control characters (C0, DEL and
/// C1), characters that turn the direction of writing, and bytes that are no UTF-8.
std::string Escape_line(std::string_view text);

}  // namespace avoip::guard
