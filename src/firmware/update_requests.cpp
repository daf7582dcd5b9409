#include "firmware/update_requests.hpp"

#include <cstddef>
#include <string>

#include "protocol/exchange.hpp"

namespace {

constexpr int kUpdateTimeoutSeconds = 1;
constexpr std::size_t kUpdateSizeMax = 1500;

/// Nothing is read from the reply beyond its acknowledgement.
std::int32_t acknowledged(const char* /*reply*/) {
    return 0;
}

void addDecimal(cJSON* root, const char* key, std::int64_t number) {
    Json_addText(root, key, std::to_string(number).c_str());
}

}  // namespace

std::int32_t Protocol_client_updateTx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, std::string_view data) {
    const auto addMembers = [&](cJSON* root) {
        addDecimal(root, "count", count);
        addDecimal(root, "length", static_cast<std::int64_t>(data.size()));
    };
    const std::string trailer = "\r\n" + std::string(data);
    return Protocol_client_singleReply(
        client,
        {.cmd = "update tx",
         .devices = {&device, 1},
         .addMembers = addMembers,
         .trailer = trailer,
         .sizeMax = kUpdateSizeMax},
        {.timeoutSeconds = kUpdateTimeoutSeconds, .read = acknowledged});
}

std::int32_t Protocol_client_updateRx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, const char* data, std::int32_t length) {
    const auto addMembers = [&](cJSON* root) {
        addDecimal(root, "count", count);
        addDecimal(root, "length", length);
        Json_addText(root, "data", data);
    };
    return Protocol_client_singleReply(client,
                                       {.cmd = "update rx",
                                        .devices = {&device, 1},
                                        .addMembers = addMembers,
                                        .sizeMax = kUpdateSizeMax},
                                       {.timeoutSeconds = kUpdateTimeoutSeconds,
                                        .read = acknowledged,
                                        .unreadable = Unreadable::kEndsRequest});
}
