#include "kit/data_request.hpp"

#include <array>

#include "base/output.hpp"
#include "base64.hpp"
#include "protocol/exchange.hpp"

std::int32_t Protocol_client_sendData(ProtocolClient* client, const DeviceId& device,
                                      const char* cmd, const unsigned char* data,
                                      std::size_t count) {
    if (const auto result = Protocol_client_resultOfState(client)) {
        return *result;
    }
    if (count > kDataRequestBytesMax) {
        Output_print("%zu bytes of data are too many: at most %zu\n", count, kDataRequestBytesMax);
        return -1;
    }
    FixedText<32> name{};
    name.set(cmd);
    std::array<char, 1500> text{};
    base64_encode(text.data(), data, static_cast<int>(count));
    const auto addData = [&text](cJSON* root) { Json_addText(root, "data", text.data()); };
    return Protocol_client_oneWay(
        client, {.cmd = name.c_str(), .devices = {&device, 1}, .addMembers = addData});
}
