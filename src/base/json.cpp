#include "base/json.hpp"

#include <cjson/cJSON.h>

#include "base/unreleased.hpp"

namespace {

/// Room for what most commands print, so that the text is neither moved as it grows nor copied into
/// a smaller room at its end.
constexpr int kPrintedLengthMost = 512;

cJSON* add(cJSON* parent, const char* key, cJSON* item) {
    if (!cJSON_AddItemToObjectCS(parent, key, item)) {
        cJSON_Delete(item);
        return nullptr;
    }
    return item;
}

}  // namespace

void JsonTreeDelete::operator()(cJSON* tree) const noexcept {
    cJSON_Delete(tree);
}

void JsonTextDelete::operator()(char* text) const noexcept {
    cJSON_free(text);
}

JsonTree Json_parse(const char* text) {
    return JsonTree(cJSON_Parse(text));
}

JsonTree Json_newObject() {
    return JsonTree(cJSON_CreateObject());
}

JsonText Json_print(const cJSON* tree) {
    return JsonText(cJSON_PrintBuffered(tree, kPrintedLengthMost, 0));
}

cJSON* Json_addObject(cJSON* parent, const char* key) {
    return add(parent, key, cJSON_CreateObject());
}

cJSON* Json_addArray(cJSON* parent, const char* key) {
    return add(parent, key, cJSON_CreateArray());
}

cJSON* Json_addText(cJSON* parent, const char* key, const char* value) {
    return add(parent, key, cJSON_CreateString(value));
}

cJSON* Json_appendObject(cJSON* array) {
    cJSON* object = cJSON_CreateObject();
    if (!cJSON_AddItemToArray(array, object)) {
        cJSON_Delete(object);
        return nullptr;
    }
    return object;
}

const cJSON* Json_find(const cJSON* object, const char* key) {
    return cJSON_GetObjectItem(object, key);
}

const char* Json_text(const cJSON* value) {
    const char* text = cJSON_GetStringValue(value);
    return text != nullptr ? text : "";
}

void Json_leaveUnreleased(JsonTree tree) {
    Unreleased_keep(tree.release());
}
