// JSON trees and their printed texts. This is the only place that calls the JSON library.
//
// A tree and a printed text are owned by their handles; nodes below a root are borrowed from it. A
// null node is accepted everywhere and does nothing, so that a chain of calls needs no tests
// between.
#pragma once

#include <memory>

struct cJSON;

struct JsonTreeDelete {
    void operator()(cJSON* tree) const noexcept;
};
using JsonTree = std::unique_ptr<cJSON, JsonTreeDelete>;

struct JsonTextDelete {
    void operator()(char* text) const noexcept;
};
using JsonText = std::unique_ptr<char, JsonTextDelete>;

/// Parses the JSON document at the beginning of `text`; what follows it is not looked at.
/// @return null when there is none.
JsonTree Json_parse(const char* text);

/// A new, empty root object; null without memory.
JsonTree Json_newObject();

/// Prints without blanks or line ends between tokens; null without memory.
JsonText Json_print(const cJSON* tree);

/// Add a member, after those that stand already, and return it (null without memory). The key is
/// not copied: it outlives the tree (a literal). The value is.
cJSON* Json_addObject(cJSON* parent, const char* key);
cJSON* Json_addArray(cJSON* parent, const char* key);
cJSON* Json_addText(cJSON* parent, const char* key, const char* value);

/// Appends an empty object to an array and returns it.
cJSON* Json_appendObject(cJSON* array);

/// The first member of `object` whose key equals `key` without regard to case, or null. Null too
/// when `object` is not an object.
const cJSON* Json_find(const cJSON* object, const char* key);

/// The text of a string value; empty for a value of any other type.
const char* Json_text(const cJSON* value);

/// Gives a parsed tree up without releasing it. Each caller does so on purpose and says why.
void Json_leaveUnreleased(JsonTree tree);
