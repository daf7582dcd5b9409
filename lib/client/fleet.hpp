// The devices as the last lists of devices told of them.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "lib/client/reply.hpp"

namespace avoip {

struct DeviceFacts {
    DeviceKind kind = DeviceKind::kAny;  ///< kAny: it calls itself neither "TX" nor "RX"
    std::string mac = {};
    std::string address = {};
    std::string alias = {};
};

/// By their identities.
using Fleet = std::map<std::string, DeviceFacts, std::less<>>;

/// Takes over what the success answer to a listing command says: the devices that it lists, and
/// that there are no others of their kind.
void Fleet_learn(Fleet& fleet, const Command& listing, const Answer& answer);

/// What is known of a device; null when it was not listed.
const DeviceFacts* Fleet_find(const Fleet& fleet, std::string_view identity);

}  // namespace avoip
