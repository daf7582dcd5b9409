// Which columns of a list are shown: those that were asked for, or those that fit the terminal.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"

namespace avoip::ctl {

/// The places of columns among the members of a shape, in the order in which they are shown.
using Columns = std::vector<std::size_t>;

/// Reads names with commas between them: headings, with "-" in place of blanks, or keys, or what
/// only one of them begins with. Gives nothing, or what is wrong with them.
std::string Columns_choose(std::span<const Member> members, std::string_view names,
                           Columns& chosen);

/// The columns that fit a terminal `width` wide. First those go that are looked for least; the
/// names of those are put into `leftOut`. With the width 0 all fit.
Columns Columns_fitting(std::span<const Member> members, std::span<const Row> rows, int width,
                        std::string& leftOut);

/// The cells of `row` in these columns.
Row Columns_cells(const Columns& columns, const Row& row);

/// The headings of these columns, in capital letters.
Row Columns_headings(std::span<const Member> members, const Columns& columns);

}  // namespace avoip::ctl
