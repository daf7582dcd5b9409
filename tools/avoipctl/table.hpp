// Aligned tables of text for a terminal.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/screen.hpp"

namespace avoip::ctl {

/// The rows below their headings, each column as wide as its widest cell and two blanks apart, no
/// blanks at line ends, a line end after each line. Without headings only the rows. Rows may be
/// shorter than the headings. What a device may not show is not shown. Where that is wider than the
/// screen, cells of the widest columns are cut short, with "..." at their ends.
std::string Table_print(std::span<const std::string> headings,
                        std::span<const std::vector<std::string>> rows, const Screen& screen = {});

/// How many characters a text has.
std::size_t Table_textWidth(std::string_view text);

/// The text in at most so many characters, with "..." at its end where it is cut.
std::string Table_cut(const std::string& text, std::size_t room);

/// How wide a table with these lines is.
std::size_t Table_width(std::span<const std::vector<std::string>> lines);

}  // namespace avoip::ctl
