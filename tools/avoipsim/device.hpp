// One simulated encoder or decoder: who it is and what it is set to.
//
// What a device is set to is a list of named sections of named texts, called as the device protocol
// calls them: one for each record of lib/wire that its kind of device knows. Texts have at most 31
// characters (an EDID 512); what is longer is cut.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lib/base/json.hpp"

namespace avoip::sim {

using Clock = std::chrono::steady_clock;

enum class DeviceKind : std::uint8_t { kEncoder, kDecoder };

struct Field {
    std::string key;
    std::string value;
};

struct Section {
    std::string name;
    std::vector<Field> fields;
};

using State = std::vector<Section>;

struct Device {
    DeviceKind kind = DeviceKind::kEncoder;
    std::string id;
    State state;
    State first;  ///< What "device factory" returns to.
    Clock::time_point silentUntil;
};

struct DeviceNetwork {
    std::string address;
    std::string netmask;
    std::string gateway;
};

/// The device `number` (from 1) of its kind, with its first values: TX-0001, RX-0001 and so on.
Device Device_make(DeviceKind kind, int number, const DeviceNetwork& network);

/// "TX" or "RX".
std::string Device_type(const Device& device);

/// The field that the device keeps for `key` of the protocol's record `record`, which may be one of
/// another section: the address in "device" is the one in "netparams". Null when its kind has none.
const Field* Device_field(const Device& device, std::string_view record, std::string_view key);

/// The text of that field; empty when there is none.
std::string Device_text(const Device& device, std::string_view record, std::string_view key);

/// Sets that field; nothing happens when there is none.
void Device_set(Device& device, std::string_view record, std::string_view key,
                std::string_view value);

/// Back to the first values. The firmware stays.
void Device_factory(Device& device);

/// Adds the device to `object` as the state file holds it.
void Device_write(const Device& device, cJSON* object);

/// Sets the device, and its first values, to what `object` names; what it does not name stays.
/// False, with the reason in `problem`, when it names something that the device does not have.
bool Device_read(Device& device, const cJSON* object, std::string& problem);

}  // namespace avoip::sim
