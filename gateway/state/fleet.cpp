#include "gateway/state/fleet.hpp"

#include <algorithm>

namespace avoip::gw {

std::string_view RouteKind_name(RouteKind kind) {
    return kRouteKindNames.at(static_cast<std::size_t>(kind));
}

std::optional<RouteKind> RouteKind_find(std::string_view name) {
    const auto* const found = std::ranges::find(kRouteKindNames, name);
    if (found == kRouteKindNames.end()) {
        return std::nullopt;
    }
    return static_cast<RouteKind>(found - kRouteKindNames.begin());
}

std::string_view DeviceType_name(DeviceType type) {
    switch (type) {
        case DeviceType::kEncoder:
            return "encoder";
        case DeviceType::kDecoder:
            return "decoder";
        case DeviceType::kUnknown:
            break;
    }
    return "unknown";
}

DeviceType DeviceType_of(std::string_view said) {
    if (said == "TX") {
        return DeviceType::kEncoder;
    }
    return said == "RX" ? DeviceType::kDecoder : DeviceType::kUnknown;
}

}  // namespace avoip::gw
