#include "avoipctl/render.hpp"

#include <algorithm>
#include <cctype>

#include "avoipctl/edid.hpp"
#include "avoipctl/table.hpp"

namespace avoip::ctl {
namespace {

std::string upperCase(std::string_view text) {
    std::string out(text);
    std::ranges::transform(out, out.begin(), [](unsigned char letter) {
        return static_cast<char>(std::toupper(letter));
    });
    return out;
}

std::string renderList(const Shape& shape, std::span<const Row> rows) {
    std::vector<std::string> headings;
    for (const Member& member : shape.members) {
        headings.push_back(upperCase(member.heading));
    }
    return Table_print(headings, rows);
}

std::string renderRecord(const Shape& shape, const Row& row) {
    std::vector<Row> lines;
    for (std::size_t i = 0; i < row.size(); ++i) {
        lines.push_back({std::string(shape.members[i].heading), row[i]});
    }
    return Table_print({}, lines);
}

}  // namespace

std::string Render_answer(const Command& command, const Answer& answer) {
    const Shape& shape = command.shape;
    if (shape.key.empty()) {
        return command.group == "update" ? "Done.\n" : "Sent.\n";
    }
    if (shape.key == "devicelist") {
        return renderList(shape, answer.rows);
    }
    if (shape.key == "rxedid") {
        return answer.rows.empty() ? "" : Edid_text(answer.rows.front().back());
    }
    std::string out;
    for (const Row& row : answer.rows) {
        out += renderRecord(shape, row);
    }
    return out;
}

}  // namespace avoip::ctl
