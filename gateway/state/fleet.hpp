// What devices say of themselves, and what is made of it.
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/state/time.hpp"

namespace avoip::gw {

enum class DeviceType { kEncoder, kDecoder, kUnknown };

/// A device's line in a listing: texts as the device reported them, bytes that are no UTF-8
/// included.
struct DeviceReport {
    std::string id = {};
    std::string type = {};  ///< "TX" or "RX", or whatever the device calls itself
    std::string alias = {};
    std::string address = {};
    std::string netmask = {};
    std::string gateway = {};
    std::string mac = {};
    std::string status = {};
    std::string version = {};
    bool operator==(const DeviceReport&) const = default;
};

/// A device that was heard once, and not forgotten since.
struct Device {
    DeviceReport said = {};
    DeviceType type = DeviceType::kUnknown;
    bool online = false;
    bool duplicate = false;  ///< two MACs go by this identity
    Time lastSeen = {};
    int missed = 0;  ///< discoveries in succession that have not heard it
    /// The MACs that go by this identity, each with the discoveries that have not heard it.
    std::map<std::string, int> macs = {};
    std::string json = {};  ///< the resource as it is served
};

enum class RouteKind { kVideo, kSerial, kIr };
inline constexpr std::size_t kRouteKinds = 3;
inline constexpr std::array kAllRouteKinds{RouteKind::kVideo, RouteKind::kSerial, RouteKind::kIr};

inline constexpr std::array<std::string_view, kRouteKinds> kRouteKindNames{"video", "serial", "ir"};

/// "video", "serial" or "ir", and back.
std::string_view RouteKind_name(RouteKind kind);
std::optional<RouteKind> RouteKind_find(std::string_view name);

/// What a decoder said last about one kind of its routes.
struct Route {
    std::string encoder = {};         ///< empty: none
    std::optional<Time> seenAt = {};  ///< nothing: never heard
};

/// "encoder", "decoder" or "unknown".
std::string_view DeviceType_name(DeviceType type);

/// What a device calls itself: "TX" an encoder, "RX" a decoder, anything else unknown.
DeviceType DeviceType_of(std::string_view said);

}  // namespace avoip::gw
