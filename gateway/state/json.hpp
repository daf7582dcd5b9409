// The resources as JSON texts, to the letter: members in their order, texts from devices fit for
// JSON, absent ones null. What people keep is read back from the same texts (restore.hpp).
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/state/state.hpp"

struct cJSON;

namespace avoip::gw {

std::string Device_json(const Device& device);
/// The same with "confirmed" as its last member.
std::string Device_jsonConfirmed(const Device& device, bool confirmed);
/// The event's data: {"kind","decoder","encoder","seen_at"}.
std::string Route_json(RouteKind kind, std::string_view decoder, const Route& route);
std::string Preset_json(const Preset& preset);
std::string Lock_json(const Lock& lock);
std::string Room_json(const Room& room);
std::string Wall_json(const Wall& wall);
std::string Job_json(const Job& job);
std::string System_json(const State& state);

/// What is told of a resource that is no more: {KEY:NAME,"deleted":true}.
std::string Deleted_json(std::string_view key, std::string_view name);

/// Adds {"video":{DECODER:ID|null,...},"serial":{...},"ir":{...}} under "routes"; a kind of which
/// nothing is wanted is left out.
void RouteTable_write(cJSON* parent, const RouteTable& routes);

/// Whether a collection shall hold what has this id or name; an empty function: everything.
using ShownNames = std::function<bool(std::string_view name)>;

/// Which devices a collection shall hold; all without an answer.
struct DeviceFilter {
    std::optional<DeviceType> type = {};
    std::optional<bool> online = {};
    ShownNames shown = {};
};

/// The collection of all devices, made once for each reading of the state and shared.
std::shared_ptr<const std::string> Devices_text(State& state);
std::string Devices_text(const State& state, const DeviceFilter& filter);

/// {"epoch","revision","video":{DECODER:{"encoder","seen_at"}},"serial":{...},"ir":{...}}
std::string Routes_text(const State& state, const ShownNames& decoders = {});

/// The collections {"epoch","revision",NAME:[...]}.
std::string Presets_text(const State& state);
std::string Locks_text(const State& state, const ShownNames& decoders = {});
std::string Rooms_text(const State& state, const ShownNames& rooms = {});
std::string Walls_text(const State& state);
std::string Jobs_text(const State& state);

}  // namespace avoip::gw
