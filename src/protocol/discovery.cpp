#include "protocol/discovery.hpp"

#include <algorithm>
#include <utility>

#include "protocol/exchange.hpp"
#include "protocol/reply.hpp"

std::int32_t Protocol_client_getDevice(ProtocolClient* client, const DeviceId* devices,
                                       std::int32_t deviceCount, std::int32_t timeout_ms,
                                       std::span<DeviceRecord> records, std::uint32_t* count) {
    const auto listed = static_cast<std::size_t>(std::max(deviceCount, 0));
    const Request request{.cmd = "config get device", .devices = {devices, listed}};
    DeviceRecord record{};
    const Collection collection{
        .idleTimeout_ms = timeout_ms,
        .take =
            [&](JsonTree reply, std::uint32_t index) {
                const auto read = [&](const cJSON* document) {
                    return Protocol_client_readDevice(document, record);
                };
                if (Reply_take(std::move(reply), read) < 0 || index == records.size()) {
                    return false;
                }
                records[index] = record;
                return true;
            },
    };
    return Protocol_client_collect(client, request, collection, count);
}
