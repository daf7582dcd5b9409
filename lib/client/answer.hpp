// An answer of the daemon, read from its JSON text.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lib/catalogue/catalogue.hpp"

namespace avoip {

/// The values of one object in an answer, in the order of its shape's members.
using Row = std::vector<std::string>;

struct Answer {
    bool readable = false;  ///< whether it is JSON with an "ack" of texts at all
    std::string cmd;
    std::string status;
    std::vector<Row> rows;

    [[nodiscard]] bool succeeded() const { return readable && status == "success"; }
};

/// Reads an answer. Members that are missing or are no texts read as empty texts; what the shape
/// does not name is passed over.
Answer Answer_read(std::string_view text, const Shape& shape);

/// The value of the member `key` in a row of this shape; empty when there is no such member.
std::string Answer_member(const Shape& shape, const Row& row, std::string_view key);

/// Says how a success answer differs from what the catalogue promises of this command, or nothing
/// when it is exactly that: the names, the members and their order, and texts everywhere.
std::string Answer_problem(std::string_view text, const Command& command);

/// Rows as a JSON object that holds one array of objects under `key`: for documents that avoipctl
/// puts together from several answers.
std::string Answer_writeRows(std::string_view key, std::span<const Member> members,
                             std::span<const Row> rows);

}  // namespace avoip
