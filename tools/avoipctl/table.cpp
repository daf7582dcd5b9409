#include "avoipctl/table.hpp"

#include <algorithm>

#include "lib/base/printable.hpp"

namespace avoip::ctl {
namespace {

constexpr std::size_t kGap = 2;

/// How many characters a text has: every byte of UTF-8 that does not continue one.
std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void measure(std::span<const std::string> cells, std::vector<std::size_t>& widths) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (std::size_t i = 0; i < cells.size(); ++i) {
        widths[i] = std::max(widths[i], width(cells[i]));
    }
}

void append(std::string& out, std::span<const std::string> cells,
            std::span<const std::size_t> widths) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        out += cells[i];
        out.append(widths[i] - width(cells[i]) + kGap, ' ');
    }
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
}

}  // namespace

std::string Table_print(std::span<const std::string> headings,
                        std::span<const std::vector<std::string>> rows) {
    std::vector<std::vector<std::string>> lines;
    if (!headings.empty()) {
        lines.emplace_back(headings.begin(), headings.end());
    }
    for (const auto& row : rows) {
        auto& line = lines.emplace_back();
        std::ranges::transform(row, std::back_inserter(line), Printable_text);
    }
    std::vector<std::size_t> widths;
    for (const auto& line : lines) {
        measure(line, widths);
    }
    std::string out;
    for (const auto& line : lines) {
        append(out, line, widths);
    }
    return out;
}

}  // namespace avoip::ctl
