// A reply's document, parsed once: the acknowledgement and the data are read from the same tree.
//
//   {"ack":{"cmd":CMD,"status":STATUS,"hostid":HOSTID,"deviceid":ID},OBJECT:{KEY:VALUE, ...}}
//
// The keys stand in any order and any case; where one occurs twice the first one counts. Every
// value is a JSON string, numbers included; a value of another type reads as an empty text.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "base/json.hpp"
#include "base/output.hpp"

/// Parses a reply's text. @return null after printing "cJSON_Parse err!"
JsonTree Reply_parse(const char* text);

/// A member, and the line that says it is missing.
struct MemberName {
    const char* key;
    const char* missing;
};

/// Walks the members that `fields` name (as MemberName does, or with more beside it) in the reply's
/// object `objectKey` and hands each one's text to `store`.
/// @return 0; -1 after printing the line that says what is missing first
template <typename Field, typename Store>
std::int32_t Reply_readObject(const cJSON* reply, const char* objectKey, const char* objectMissing,
                              std::span<const Field> fields, const Store& store) {
    const cJSON* object = Json_find(reply, objectKey);
    if (object == nullptr) {
        Output_print("%s\n", objectMissing);
        return -1;
    }
    for (const Field& field : fields) {
        const cJSON* value = Json_find(object, field.key);
        if (value == nullptr) {
            Output_print("%s\n", field.missing);
            return -1;
        }
        store(field, Json_text(value));
    }
    return 0;
}

/// Lets `read` read a document and releases it; a document that cannot be read stays unreleased
/// (kept: parser-leak).
/// @return what `read` returns; -1 for a null document
template <typename Read>
std::int32_t Reply_take(JsonTree reply, const Read& read) {
    if (reply == nullptr) {
        return -1;
    }
    const std::int32_t result = read(reply.get());
    if (result < 0) {
        Json_leaveUnreleased(std::move(reply));
    }
    return result;
}
