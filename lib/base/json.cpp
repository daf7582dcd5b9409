#include "lib/base/json.hpp"

#include <cjson/cJSON.h>

#include <cmath>

namespace avoip {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string takeText(char* printed) {
    std::string text(printed == nullptr ? "" : printed);
    cJSON_free(printed);
    return text;
}

/// Parses what the text begins with, and tells at which byte that ends. The library looks one byte
/// beyond the end of some broken texts: it is given a copy with a NUL behind it.
Json parse(std::string_view text, std::size_t& end) {
    const std::string copy(text);
    const char* stop = nullptr;
    Json tree(cJSON_ParseWithLengthOpts(copy.c_str(), copy.size() + 1, &stop, 0));
    end = tree == nullptr ? 0 : static_cast<std::size_t>(stop - copy.c_str());
    return tree;
}

/// The item at its place in the array; null, with the item released, when it did not go there.
cJSON* append(cJSON* array, cJSON* item) {
    if (cJSON_AddItemToArray(array, item) == 0) {
        cJSON_Delete(item);
        return nullptr;
    }
    return item;
}

}  // namespace

void JsonDelete::operator()(cJSON* tree) const noexcept {
    cJSON_Delete(tree);
}

Json Json_parse(std::string_view text) {
    std::size_t end = 0;
    Json tree = parse(text, end);
    if (text.find_first_not_of(kBlanks, end) != std::string_view::npos) {
        tree.reset();
    }
    return tree;
}

Json Json_parseBeginning(std::string_view text) {
    std::size_t end = 0;
    return parse(text, end);
}

std::string Json_print(const cJSON* tree) {
    return takeText(cJSON_PrintUnformatted(tree));
}

std::string Json_printForPeople(const cJSON* tree) {
    return takeText(cJSON_Print(tree));
}

bool Json_isObject(const cJSON* value) {
    return cJSON_IsObject(value) != 0;
}

bool Json_isArray(const cJSON* value) {
    return cJSON_IsArray(value) != 0;
}

std::optional<std::string> Json_text(const cJSON* value) {
    const char* const text = cJSON_GetStringValue(value);
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

std::optional<std::string> Json_text(const cJSON* object, std::string_view key) {
    return Json_text(Json_find(object, key));
}

std::optional<std::int64_t> Json_whole(const cJSON* value) {
    // Beyond this, neighbouring whole numbers are the same number.
    constexpr double kExact = 9007199254740992.0;
    if (cJSON_IsNumber(value) == 0 || std::trunc(value->valuedouble) != value->valuedouble ||
        std::abs(value->valuedouble) > kExact) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(value->valuedouble);
}

std::optional<bool> Json_truth(const cJSON* value) {
    return cJSON_IsBool(value) == 0 ? std::nullopt : std::optional(cJSON_IsTrue(value) != 0);
}

bool Json_isNull(const cJSON* value) {
    return cJSON_IsNull(value) != 0;
}

std::optional<double> Json_number(const cJSON* object, std::string_view key) {
    const cJSON* const value = Json_find(object, key);
    return cJSON_IsNumber(value) != 0 ? std::optional(value->valuedouble) : std::nullopt;
}

const cJSON* Json_find(const cJSON* object, std::string_view key) {
    return cJSON_GetObjectItemCaseSensitive(object, std::string(key).c_str());
}

cJSON* Json_find(cJSON* object, std::string_view key) {
    return cJSON_GetObjectItemCaseSensitive(object, std::string(key).c_str());
}

std::string_view Json_key(const cJSON* member) {
    return member == nullptr || member->string == nullptr ? "" : member->string;
}

JsonItems::Iterator& JsonItems::Iterator::operator++() {
    item_ = item_->next;
    return *this;
}

JsonItems::Iterator JsonItems::begin() const {
    return Iterator(parent_ == nullptr ? nullptr : parent_->child);
}

JsonItems Json_items(const cJSON* parent) {
    return JsonItems(parent);
}

Json Json_newObject() {
    return Json(cJSON_CreateObject());
}

cJSON* Json_addObject(cJSON* parent, std::string_view key) {
    return cJSON_AddObjectToObject(parent, std::string(key).c_str());
}

cJSON* Json_addArray(cJSON* parent, std::string_view key) {
    return cJSON_AddArrayToObject(parent, std::string(key).c_str());
}

void Json_addText(cJSON* parent, std::string_view key, std::string_view value) {
    cJSON_AddStringToObject(parent, std::string(key).c_str(), std::string(value).c_str());
}

void Json_addTextOrNull(cJSON* parent, std::string_view key, std::string_view value) {
    if (value.empty()) {
        Json_addNull(parent, key);
    } else {
        Json_addText(parent, key, value);
    }
}

void Json_addWhole(cJSON* parent, std::string_view key, std::int64_t value) {
    // The library itself prints fifteen digits of a number.
    Json_addPrinted(parent, key, std::to_string(value));
}

void Json_addTruth(cJSON* parent, std::string_view key, bool value) {
    cJSON_AddBoolToObject(parent, std::string(key).c_str(), value ? 1 : 0);
}

void Json_addNull(cJSON* parent, std::string_view key) {
    cJSON_AddNullToObject(parent, std::string(key).c_str());
}

void Json_addPrinted(cJSON* parent, std::string_view key, std::string_view json) {
    cJSON_AddRawToObject(parent, std::string(key).c_str(), std::string(json).c_str());
}

cJSON* Json_appendObject(cJSON* array) {
    return append(array, cJSON_CreateObject());
}

void Json_appendText(cJSON* array, std::string_view value) {
    append(array, cJSON_CreateString(std::string(value).c_str()));
}

void Json_replaceText(cJSON* object, std::string_view key, std::string_view value) {
    cJSON* const text = cJSON_CreateString(std::string(value).c_str());
    if (cJSON_ReplaceItemInObjectCaseSensitive(object, std::string(key).c_str(), text) == 0) {
        cJSON_Delete(text);
    }
}

void Json_remove(cJSON* parent, const cJSON* item) {
    cJSON_Delete(cJSON_DetachItemViaPointer(parent, const_cast<cJSON*>(item)));
}

}  // namespace avoip
