// Aligned tables of text for a terminal.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip::ctl {

/// The text as a terminal may show it: what would be a control character is a "?". Texts come from
/// devices, and a device shall not be able to steer the terminal.
std::string Table_printable(std::string_view text);

/// The rows below their headings, each column as wide as its widest cell and two blanks apart, no
/// blanks at line ends, a line end after each line. Without headings only the rows. Rows may be
/// shorter than the headings.
std::string Table_print(std::span<const std::string> headings,
                        std::span<const std::vector<std::string>> rows);

}  // namespace avoip::ctl
