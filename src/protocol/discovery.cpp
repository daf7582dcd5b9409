#include "protocol/discovery.hpp"

#include <algorithm>

#include "protocol/exchange.hpp"

std::int32_t Protocol_client_getDevice(ProtocolClient* client, const DeviceId* devices,
                                       std::int32_t deviceCount, std::int32_t timeoutMs,
                                       std::span<DeviceRecord> records, std::uint32_t* count) {
    const auto listed = static_cast<std::size_t>(std::max(deviceCount, 0));
    const Request request{.cmd = "config get device", .devices = {devices, listed}};
    DeviceRecord record{};
    const Collection collection{
        .idleTimeoutMs = timeoutMs,
        .capacity = static_cast<std::uint32_t>(records.size()),
        .take =
            [&](const char* reply, std::uint32_t index) {
                if (Protocol_client_parseDevice(reply, record) < 0) {
                    return false;
                }
                records[index] = record;
                return true;
            },
    };
    return Protocol_client_collect(client, request, collection, count);
}
