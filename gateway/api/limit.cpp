#include "gateway/api/limit.hpp"

#include <algorithm>
#include <array>
#include <set>

namespace avoip::gw {
namespace {

/// The calls that look at the caller's rooms themselves, and those that show nothing of the fleet.
constexpr std::array<std::string_view, 19> kOpen{
    "live",       "ready",  "description", "logIn",  "session", "logOut",   "system",
    "devices",    "device", "identify",    "ranges", "routes",  "setRoute", "setRoutes",
    "clearRoute", "locks",  "rooms",       "room",   "events"};

bool holds(const std::vector<std::string>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// The rooms of the caller that there are.
std::vector<const Room*> roomsOf(const State& state, const Caller& caller) {
    std::vector<const Room*> rooms;
    for (const auto& [name, room] : state.rooms) {
        if (holds(*caller.rooms, name)) {
            rooms.push_back(&room);
        }
    }
    return rooms;
}

bool isSeen(const std::vector<const Room*>& rooms, std::string_view id) {
    return std::any_of(rooms.begin(), rooms.end(), [id](const Room* room) {
        return holds(room->decoders, id) || holds(room->encoders, id);
    });
}

/// Whether one room has both; an empty encoder is in every room.
bool joins(const std::vector<const Room*>& rooms, std::string_view decoder,
           std::string_view encoder) {
    return std::any_of(rooms.begin(), rooms.end(), [&](const Room* room) {
        return holds(room->decoders, decoder) &&
               (encoder.empty() || holds(room->encoders, encoder));
    });
}

[[noreturn]] void refuse(const std::string& what) {
    throw Problem{403, "This log-in is for some rooms only, and " + what + "."};
}

}  // namespace

bool Limit_opens(const Endpoint& endpoint) {
    return std::find(kOpen.begin(), kOpen.end(), endpoint.name) != kOpen.end();
}

Shown Limit_of(const State& state, const Caller& caller) {
    if (!caller.rooms) {
        return {};
    }
    std::set<std::string, std::less<>> ids;
    for (const Room* const room : roomsOf(state, caller)) {
        ids.insert(room->decoders.begin(), room->decoders.end());
        ids.insert(room->encoders.begin(), room->encoders.end());
    }
    return {[ids = std::move(ids)](std::string_view id) { return ids.contains(id); },
            [rooms = *caller.rooms](std::string_view name) { return holds(rooms, name); }};
}

void Limit_checkDevice(Gateway& gateway, const Caller& caller, const std::string& id) {
    const bool seen = !caller.rooms || gateway.state.with([&](const State& state) {
        return isSeen(roomsOf(state, caller), id);
    });
    if (!seen) {
        refuse("\"" + id + "\" is in none of them");
    }
}

void Limit_checkRoom(const Caller& caller, const std::string& name) {
    if (caller.rooms && !holds(*caller.rooms, name)) {
        refuse("\"" + name + "\" is none of them");
    }
}

void Limit_checkRoutes(Gateway& gateway, const Caller& caller, const RouteOrder& order) {
    if (!caller.rooms) {
        return;
    }
    gateway.state.with([&](const State& state) {
        const auto rooms = roomsOf(state, caller);
        for (const RouteKind kind : kAllRouteKinds) {
            const auto place = static_cast<std::size_t>(kind);
            if (order.all.at(place)) {
                refuse("\"all\" is beyond them");
            }
            for (const auto& [decoder, encoder] : order.routes.at(place)) {
                if (!joins(rooms, decoder, encoder)) {
                    refuse("none of them has \"" + decoder + "\"" +
                           (encoder.empty() ? "" : " and \"" + encoder + "\""));
                }
            }
        }
    });
}

FeedFilter Limit_ofEvents(Gateway& gateway, const Caller& caller) {
    if (!caller.rooms) {
        return {};
    }
    return [&gateway, caller](std::string_view event, std::string_view key) {
        if (event == "system") {
            return true;
        }
        if (event == "room") {
            return holds(*caller.rooms, key);
        }
        if (event == "route") {
            key.remove_prefix(key.find('/') + 1);
        } else if (event != "device" && event != "device_removed" && event != "lock") {
            return false;
        }
        return gateway.state.with(
            [&](const State& state) { return isSeen(roomsOf(state, caller), key); });
    };
}

}  // namespace avoip::gw
