#include "avoipctl/columns.hpp"

#include <algorithm>
#include <cctype>

#include "avoipctl/table.hpp"

namespace avoip::ctl {
namespace {

// What goes first on a narrow terminal.
constexpr std::string_view kLeastWanted[] = {"netmask", "gateway", "MAC address", "status", "type"};

char lower(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

/// The heading as it is typed: "mac-address".
std::string nameOf(const Member& member) {
    std::string name(member.heading);
    std::ranges::transform(name, name.begin(),
                           [](char letter) { return letter == ' ' ? '-' : lower(letter); });
    return name;
}

std::string allNames(std::span<const Member> members) {
    std::string names;
    for (const Member& member : members) {
        names.append(names.empty() ? "" : ", ").append(nameOf(member));
    }
    return names;
}

/// The columns that `name` may mean: the one that it names, or all that it begins.
Columns meant(std::span<const Member> members, std::string_view name) {
    Columns begun;
    for (std::size_t i = 0; i < members.size(); ++i) {
        const std::string heading = nameOf(members[i]);
        if (heading == name || members[i].key == name) {
            return {i};
        }
        if (heading.starts_with(name)) {
            begun.push_back(i);
        }
    }
    return begun;
}

}  // namespace

std::string Columns_choose(std::span<const Member> members, std::string_view names,
                           Columns& chosen) {
    for (std::size_t begin = 0; begin <= names.size();) {
        const std::size_t end = std::min(names.find(',', begin), names.size());
        std::string name(names.substr(begin, end - begin));
        std::ranges::transform(name, name.begin(), lower);
        const Columns found = meant(members, name);
        if (name.empty() || found.size() != 1) {
            return "\"" + name +
                   "\" is no column of this list. Its columns are: " + allNames(members) + ".";
        }
        chosen.push_back(found.front());
        begin = end + 1;
    }
    return {};
}

Row Columns_cells(const Columns& columns, const Row& row) {
    Row cells;
    for (const std::size_t column : columns) {
        cells.push_back(column < row.size() ? row[column] : std::string());
    }
    return cells;
}

Row Columns_headings(std::span<const Member> members, const Columns& columns) {
    Row headings;
    for (const std::size_t column : columns) {
        std::string& heading = headings.emplace_back(members[column].heading);
        std::ranges::transform(heading, heading.begin(), [](unsigned char letter) {
            return static_cast<char>(std::toupper(letter));
        });
    }
    return headings;
}

Columns Columns_fitting(std::span<const Member> members, std::span<const Row> rows, int width,
                        std::string& leftOut) {
    Columns columns;
    for (std::size_t i = 0; i < members.size(); ++i) {
        columns.push_back(i);
    }
    const auto fits = [&] {
        std::vector<Row> lines{Columns_headings(members, columns)};
        for (const Row& row : rows) {
            lines.push_back(Columns_cells(columns, row));
        }
        return Table_width(lines) <= static_cast<std::size_t>(width);
    };
    for (const std::string_view least : kLeastWanted) {
        if (width == 0 || fits()) {
            break;
        }
        if (std::erase_if(columns, [&](std::size_t i) { return members[i].heading == least; }) !=
            0) {
            leftOut.append(leftOut.empty() ? "" : ", ").append(least);
        }
    }
    return columns;
}

}  // namespace avoip::ctl
