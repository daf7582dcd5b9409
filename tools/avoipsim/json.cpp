#include "avoipsim/json.hpp"

namespace {

std::string takeText(char* printed) {
    const std::string text(printed == nullptr ? "" : printed);
    cJSON_free(printed);
    return text;
}

}  // namespace

Json Json_parse(std::string_view text) {
    const std::string terminated(text);
    return Json(cJSON_ParseWithLengthOpts(terminated.c_str(), terminated.size() + 1, nullptr, 0));
}

std::string Json_print(const cJSON* tree) {
    return takeText(cJSON_PrintUnformatted(tree));
}

std::string Json_printForPeople(const cJSON* tree) {
    return takeText(cJSON_Print(tree));
}

std::optional<std::string> Json_text(const cJSON* object, const std::string& key) {
    const cJSON* member = cJSON_GetObjectItem(object, key.c_str());
    if (!cJSON_IsString(member)) {
        return std::nullopt;
    }
    return std::string(member->valuestring);
}

void Json_addText(cJSON* object, const std::string& key, const std::string& value) {
    cJSON_AddStringToObject(object, key.c_str(), value.c_str());
}
