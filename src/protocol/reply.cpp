#include "protocol/reply.hpp"

JsonTree Reply_parse(const char* text) {
    JsonTree reply = Json_parse(text);
    if (reply == nullptr) {
        Output_print("cJSON_Parse err!\n");
    }
    return reply;
}
