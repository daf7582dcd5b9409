// The little of the JSON library that the simulator needs, with trees that release themselves.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct JsonDelete {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using Json = std::unique_ptr<cJSON, JsonDelete>;

/// Parses the JSON document that `text` begins with; bytes behind it are not looked at.
/// Null when there is none.
Json Json_parse(std::string_view text);

/// The tree as one line without blanks.
std::string Json_print(const cJSON* tree);

/// The tree over many lines, indented.
std::string Json_printForPeople(const cJSON* tree);

/// The text member `key` of `object`, compared without regard to case. Nothing when `object` is
/// null or no object, or when the member is missing or no text.
std::optional<std::string> Json_text(const cJSON* object, const std::string& key);

/// Adds the text member `key` to `object`.
void Json_addText(cJSON* object, const std::string& key, const std::string& value);
