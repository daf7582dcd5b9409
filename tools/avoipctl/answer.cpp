#include "avoipctl/answer.hpp"

#include <cjson/cJSON.h>

#include <cstdlib>
#include <memory>

namespace avoip::ctl {
namespace {

struct TreeDelete {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using Tree = std::unique_ptr<cJSON, TreeDelete>;

struct TextFree {
    void operator()(char* text) const { cJSON_free(text); }
};
using Text = std::unique_ptr<char, TextFree>;

Tree parse(std::string_view text) {
    return Tree(cJSON_ParseWithLength(text.data(), text.size()));
}

const cJSON* member(const cJSON* object, std::string_view key) {
    return cJSON_GetObjectItemCaseSensitive(object, std::string(key).c_str());
}

/// The member's text, empty when it is missing or no text.
std::string textOf(const cJSON* object, std::string_view key) {
    const char* const value = cJSON_GetStringValue(member(object, key));
    return value == nullptr ? std::string() : std::string(value);
}

/// Whether `object` has exactly these members, in this order, each a text.
bool hasExactly(const cJSON* object, std::span<const Member> members) {
    const cJSON* item = cJSON_IsObject(object) != 0 ? object->child : nullptr;
    for (const Member& expected : members) {
        if (item == nullptr || item->string != expected.key || cJSON_IsString(item) == 0) {
            return false;
        }
        item = item->next;
    }
    return item == nullptr;
}

constexpr Member kAckMembers[] = {{"cmd", ""}, {"status", ""}};

std::string ackProblem(const cJSON* ack, std::string_view name) {
    if (ack == nullptr || ack->string != std::string_view("ack") || !hasExactly(ack, kAckMembers)) {
        return "the first member is not an \"ack\" of \"cmd\" and \"status\"";
    }
    if (textOf(ack, "cmd") != name || textOf(ack, "status") != "success") {
        return "\"ack\" does not say that \"" + std::string(name) + "\" was a success";
    }
    return {};
}

}  // namespace

Answer Answer_read(std::string_view text, const Shape& shape) {
    const Tree tree = parse(text);
    const cJSON* const ack = member(tree.get(), "ack");
    Answer answer;
    answer.readable =
        cJSON_IsString(member(ack, "cmd")) != 0 && cJSON_IsString(member(ack, "status")) != 0;
    answer.cmd = textOf(ack, "cmd");
    answer.status = textOf(ack, "status");
    const cJSON* const list = shape.key.empty() ? nullptr : member(tree.get(), shape.key);
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list) {
        Row& row = answer.rows.emplace_back();
        for (const Member& column : shape.members) {
            row.push_back(textOf(item, column.key));
        }
    }
    return answer;
}

std::string Answer_problem(std::string_view text, const Command& command) {
    const Tree tree = parse(text);
    if (cJSON_IsObject(tree.get()) == 0) {
        return "the answer is not a JSON object";
    }
    const cJSON* const ack = tree->child;
    if (std::string problem = ackProblem(ack, Catalogue_successName(command)); !problem.empty()) {
        return problem;
    }
    const cJSON* const data = ack->next;
    if (command.shape.key.empty()) {
        return data == nullptr ? "" : "there are members beside \"ack\"";
    }
    if (data == nullptr || data->string != command.shape.key || cJSON_IsArray(data) == 0 ||
        data->next != nullptr) {
        return "the data is not one array \"" + std::string(command.shape.key) + "\"";
    }
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, data) {
        if (!hasExactly(item, command.shape.members)) {
            return "an object of \"" + std::string(command.shape.key) + "\" has other members";
        }
    }
    return {};
}

std::string Answer_writeRows(std::string_view key, std::span<const Member> members,
                             std::span<const Row> rows) {
    const Tree root(cJSON_CreateObject());
    cJSON* const list = cJSON_AddArrayToObject(root.get(), std::string(key).c_str());
    for (const Row& row : rows) {
        cJSON* const object = cJSON_CreateObject();
        cJSON_AddItemToArray(list, object);
        for (std::size_t i = 0; i < members.size(); ++i) {
            cJSON_AddStringToObject(object, std::string(members[i].key).c_str(), row[i].c_str());
        }
    }
    const Text text(cJSON_PrintUnformatted(root.get()));
    return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace avoip::ctl
