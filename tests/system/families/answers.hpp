// The answers that tests expect, as the daemon writes them.
#pragma once

#include <string>
#include <string_view>

namespace families {

inline std::string answerText(std::string_view cmd, std::string_view status,
                              std::string_view data = "") {
    std::string text = R"({"ack":{"cmd":")";
    text.append(cmd).append(R"(","status":")").append(status).append("\"}").append(data);
    return text + "}";
}

/// Answers without data.
inline std::string success(std::string_view cmd) {
    return answerText(cmd, "success");
}
inline std::string failure(std::string_view cmd) {
    return answerText(cmd, "failure");
}

/// The request that "device showme" sends for a device.
inline std::string showmeRequest(std::string_view id) {
    std::string text = R"({"request":{"cmd":"device showme","hostid":"001122aabbcc",)"
                       R"("device":[{"id":")";
    return text.append(id) + R"("}]}})";
}

}  // namespace families
