#include "avoipctl/render.hpp"

#include "avoipctl/edid.hpp"
#include "avoipctl/table.hpp"

namespace avoip::ctl {
namespace {

std::string renderList(const Shape& shape, std::span<const Row> rows, const Screen& screen,
                       const Columns& columns) {
    std::string leftOut;
    const Columns shown =
        columns.empty() ? Columns_fitting(shape.members, rows, 0, leftOut) : columns;
    std::vector<Row> lines;
    for (const Row& row : rows) {
        lines.push_back(Columns_cells(shown, row));
    }
    return Table_print(Columns_headings(shape.members, shown), lines, screen);
}

std::string renderRecord(const Shape& shape, const Row& row, const Screen& screen) {
    std::vector<Row> lines;
    for (std::size_t i = 0; i < row.size(); ++i) {
        lines.push_back({std::string(shape.members[i].heading), row[i]});
    }
    return Table_print({}, lines, screen);
}

}  // namespace

std::string Render_answer(const Command& command, const Answer& answer, const Screen& screen,
                          const Columns& columns) {
    const Shape& shape = command.shape;
    if (shape.key.empty()) {
        return command.group == "update" ? "Done.\n" : "Sent.\n";
    }
    if (shape.key == "devicelist") {
        return renderList(shape, answer.rows, screen, columns);
    }
    if (shape.key == "rxedid") {
        return answer.rows.empty() ? "" : Edid_text(answer.rows.front().back());
    }
    std::string out;
    for (const Row& row : answer.rows) {
        out += renderRecord(shape, row, screen);
    }
    return out;
}

}  // namespace avoip::ctl
