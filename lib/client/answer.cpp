#include "lib/client/answer.hpp"

#include <algorithm>

#include "lib/base/json.hpp"

namespace avoip {
namespace {

/// The text of a member, empty when it is missing or no text.
std::string textOf(const cJSON* object, std::string_view key) {
    return Json_text(object, key).value_or("");
}

/// Whether `object` has exactly these members, in this order, each a text.
bool hasExactly(const cJSON* object, std::span<const Member> members) {
    auto expected = members.begin();
    for (const cJSON* item : Json_items(object)) {
        if (expected == members.end() || Json_key(item) != expected->key || !Json_text(item)) {
            return false;
        }
        ++expected;
    }
    return Json_isObject(object) && expected == members.end();
}

constexpr Member kAckMembers[] = {{"cmd", ""}, {"status", ""}};

std::string ackProblem(const cJSON* ack, std::string_view name) {
    if (!hasExactly(ack, kAckMembers)) {
        return "the first member is not an \"ack\" of \"cmd\" and \"status\"";
    }
    if (textOf(ack, "cmd") != name || textOf(ack, "status") != "success") {
        return "\"ack\" does not say that \"" + std::string(name) + "\" was a success";
    }
    return {};
}

std::vector<std::string_view> keysOf(const cJSON* object) {
    std::vector<std::string_view> keys;
    for (const cJSON* item : Json_items(object)) {
        keys.push_back(Json_key(item));
    }
    return keys;
}

}  // namespace

Answer Answer_read(std::string_view text, const Shape& shape) {
    const Json tree = Json_parse(text);
    const cJSON* const ack = Json_find(tree.get(), "ack");
    Answer answer;
    answer.readable = Json_text(ack, "cmd") && Json_text(ack, "status");
    answer.cmd = textOf(ack, "cmd");
    answer.status = textOf(ack, "status");
    const cJSON* const list = shape.key.empty() ? nullptr : Json_find(tree.get(), shape.key);
    for (const cJSON* item : Json_items(list)) {
        Row& row = answer.rows.emplace_back();
        for (const Member& column : shape.members) {
            row.push_back(textOf(item, column.key));
        }
    }
    return answer;
}

std::string Answer_member(const Shape& shape, const Row& row, std::string_view key) {
    const auto place = std::ranges::find(shape.members, key, &Member::key) - shape.members.begin();
    return static_cast<std::size_t>(place) < row.size() ? row[static_cast<std::size_t>(place)] : "";
}

std::string Answer_problem(std::string_view text, const Command& command) {
    const Json tree = Json_parse(text);
    if (!Json_isObject(tree.get())) {
        return "the answer is not a JSON object";
    }
    const std::vector<std::string_view> keys = keysOf(tree.get());
    const bool ackIsFirst = !keys.empty() && keys.front() == "ack";
    const cJSON* const ack = ackIsFirst ? Json_find(tree.get(), "ack") : nullptr;
    if (std::string problem = ackProblem(ack, Catalogue_successName(command)); !problem.empty()) {
        return problem;
    }
    if (command.shape.key.empty()) {
        return keys.size() == 1 ? "" : "there are members beside \"ack\"";
    }
    const cJSON* const data = Json_find(tree.get(), command.shape.key);
    if (keys.size() != 2 || !Json_isArray(data)) {
        return "the data is not one array \"" + std::string(command.shape.key) + "\"";
    }
    for (const cJSON* item : Json_items(data)) {
        if (!hasExactly(item, command.shape.members)) {
            return "an object of \"" + std::string(command.shape.key) + "\" has other members";
        }
    }
    return {};
}

std::string Answer_writeRows(std::string_view key, std::span<const Member> members,
                             std::span<const Row> rows) {
    const Json root = Json_newObject();
    cJSON* const list = Json_addArray(root.get(), key);
    for (const Row& row : rows) {
        cJSON* const object = Json_appendObject(list);
        for (std::size_t i = 0; i < members.size(); ++i) {
            Json_addText(object, members[i].key, row[i]);
        }
    }
    return Json_print(root.get());
}

}  // namespace avoip
