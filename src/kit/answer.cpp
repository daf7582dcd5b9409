#include "kit/answer.hpp"

#include <algorithm>
#include <cstring>

namespace {

JsonTree newAnswer(const char* cmd, const char* status) {
    JsonTree root = Json_newObject();
    cJSON* ack = Json_addObject(root.get(), "ack");
    Json_addText(ack, "cmd", cmd);
    Json_addText(ack, "status", status);
    return root;
}

}  // namespace

JsonTree Answer_success(const char* cmd) {
    return newAnswer(cmd, "success");
}

JsonTree Answer_failure(const char* cmd) {
    return newAnswer(cmd, "failure");
}

void Answer_store(const JsonTree& answer, char* buffer) {
    const JsonText text = Json_print(answer.get());
    if (text != nullptr) {
        std::copy_n(text.get(), std::min(std::strlen(text.get()), kAnswerCapacity - 1), buffer);
    }
}

cJSON* Answer_addSingle(const JsonTree& answer, const char* key) {
    return Json_appendObject(Json_addArray(answer.get(), key));
}
