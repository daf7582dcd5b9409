// Aligned tables of text for a terminal.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip::ctl {

/// The rows below their headings, each column as wide as its widest cell and two blanks apart, no
/// blanks at line ends, a line end after each line. Without headings only the rows. Rows may be
/// shorter than the headings. What a device may not show is not shown.
std::string Table_print(std::span<const std::string> headings,
                        std::span<const std::vector<std::string>> rows);

}  // namespace avoip::ctl
