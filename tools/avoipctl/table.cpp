#include "avoipctl/table.hpp"

#include <algorithm>
#include <numeric>

#include "lib/base/printable.hpp"

namespace avoip::ctl {
namespace {

constexpr std::size_t kGap = 2;

constexpr std::string_view kCut = "...";

// No column is cut further than this.
constexpr std::size_t kNarrowest = 8;

void measure(std::span<const std::string> cells, std::vector<std::size_t>& widths) {
    widths.resize(std::max(widths.size(), cells.size()));
    for (std::size_t i = 0; i < cells.size(); ++i) {
        widths[i] = std::max(widths[i], Table_textWidth(cells[i]));
    }
}

std::vector<std::size_t> widthsOf(std::span<const std::vector<std::string>> lines) {
    std::vector<std::size_t> widths;
    for (const auto& line : lines) {
        measure(line, widths);
    }
    return widths;
}

std::size_t total(std::span<const std::size_t> widths) {
    const std::size_t gaps = widths.empty() ? 0 : (widths.size() - 1) * kGap;
    return std::accumulate(widths.begin(), widths.end(), gaps);
}

/// Makes the widest columns narrower until all of them fit.
void narrow(std::vector<std::size_t>& widths, std::size_t room) {
    while (total(widths) > room) {
        const auto widest = std::ranges::max_element(widths);
        if (*widest <= kNarrowest) {
            return;
        }
        --*widest;
    }
}

std::string lineOf(std::span<const std::string> cells, std::span<const std::size_t> widths) {
    std::string out;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = Table_cut(cells[i], widths[i]);
        out += cell;
        out.append(widths[i] - Table_textWidth(cell) + kGap, ' ');
    }
    out.erase(out.find_last_not_of(' ') + 1);
    return out;
}

}  // namespace

std::size_t Table_textWidth(std::string_view text) {
    // Every byte of UTF-8 that does not continue a character begins one.
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

std::string Table_cut(const std::string& text, std::size_t room) {
    if (Table_textWidth(text) <= room) {
        return text;
    }
    std::size_t end = 0;
    for (std::size_t left = room - std::min(room, kCut.size()) + 1; end < text.size(); ++end) {
        left -= (text[end] & 0xC0) != 0x80 ? 1 : 0;
        if (left == 0) {
            break;
        }
    }
    return text.substr(0, end).append(kCut);
}

std::size_t Table_width(std::span<const std::vector<std::string>> lines) {
    return total(widthsOf(lines));
}

std::string Table_print(std::span<const std::string> headings,
                        std::span<const std::vector<std::string>> rows, const Screen& screen) {
    std::vector<std::vector<std::string>> lines;
    if (!headings.empty()) {
        lines.emplace_back(headings.begin(), headings.end());
    }
    for (const auto& row : rows) {
        auto& line = lines.emplace_back();
        std::ranges::transform(row, std::back_inserter(line), Printable_text);
    }
    std::vector<std::size_t> widths = widthsOf(lines);
    if (screen.columns > 0) {
        narrow(widths, static_cast<std::size_t>(screen.columns));
    }
    std::string out;
    for (const auto& line : lines) {
        const bool heads = out.empty() && !headings.empty();
        out.append(Screen_paint(screen.colour && heads, Paint::kHeading, lineOf(line, widths)))
            .append("\n");
    }
    return out;
}

}  // namespace avoip::ctl
