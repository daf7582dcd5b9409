// What a token that is limited to rooms may see and do: the devices of its rooms, their routes and
// locks, and routing an encoder of a room to a decoder of the same room. Whoever has no limit sees
// and does what the role says.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "gateway/api/endpoint.hpp"
#include "gateway/operations/routes.hpp"
#include "gateway/state/json.hpp"

namespace avoip::gw {

/// Whether a limited caller may make the call at all; it looks at its devices itself then.
bool Limit_opens(const Endpoint& endpoint);

/// The devices and the rooms that the caller sees; empty functions: all of them. They hold what the
/// state has now.
struct Shown {
    ShownNames devices = {};
    ShownNames rooms = {};
};
Shown Limit_of(const State& state, const Caller& caller);

/// Throws 403 for a device, or a room, that the caller does not see.
void Limit_checkDevice(Gateway& gateway, const Caller& caller, const std::string& id);
void Limit_checkRoom(const Caller& caller, const std::string& name);

/// Throws 403 for routes that the caller may not set, because no room of its own has both the
/// decoder and the encoder.
void Limit_checkRoutes(Gateway& gateway, const Caller& caller, const RouteOrder& order);

/// Which events the caller gets; empty: all.
FeedFilter Limit_ofEvents(Gateway& gateway, const Caller& caller);

}  // namespace avoip::gw
