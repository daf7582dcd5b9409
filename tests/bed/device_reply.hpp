// What devices reply to discovery.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "bed/device.hpp"

namespace bed {

inline constexpr const char* kDiscoveryCmd = "config get device";

/// The keys of a device's record in the record's order.
inline constexpr std::array<std::string_view, 9> kDeviceKeys{"deviceid", "alias",      "devtype",
                                                             "devaddr",  "devnetmask", "devgateway",
                                                             "devmac",   "status",     "version"};

/// The value that the device `id` has under a key: for every key but "deviceid" the key itself, a
/// dash and the identity.
inline std::string deviceValue(std::string_view id, std::string_view key) {
    return key == "deviceid" ? std::string(id) : std::string(key).append("-").append(id);
}

/// The "device" member of the device `id`, without the key `missing`.
inline std::string deviceMember(std::string_view id, std::string_view missing = {}) {
    std::string members;
    for (const std::string_view key : kDeviceKeys) {
        if (key != missing) {
            members.append(members.empty() ? "\"" : ",\"").append(key).append("\":\"");
            members.append(deviceValue(id, key)).append("\"");
        }
    }
    return "\"device\":{" + members + "}";
}

/// The whole reply of the device `id` to a discovery of `hostid`.
inline std::string deviceReply(std::string_view id, std::string_view status = "success",
                               std::string_view hostid = "001122aabbcc",
                               std::string_view cmd = kDiscoveryCmd) {
    return replyText(cmd, status, hostid, id, deviceMember(id));
}

}  // namespace bed
