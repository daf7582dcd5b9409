#include "gateway/state/state.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "gateway/state/json.hpp"

namespace avoip::gw {

namespace {

constexpr std::array<std::string_view, 10> kChangeNames{
    "device", "device_removed", "route", "preset", "lock", "room", "wall", "job", "system", "log"};
constexpr std::array<std::string_view, 4> kDaemonNames{"ok", "absent", "stopped", "useless"};

/// Tells of a change. `jsonOf` is called when the revision has been counted.
template <class JsonOf>
void publish(State& state, ChangeKind kind, std::string_view key, JsonOf jsonOf) {
    ++state.revision;
    ++state.reading;
    if (state.changed) {
        state.changed({state.revision, kind, std::string(key), jsonOf()});
    }
}

void tell(State& state, std::string_view action, std::string_view target, std::string_view detail) {
    if (state.happened) {
        state.happened({std::string(action), std::string(target), std::string(detail)});
    }
}

void publishSystem(State& state) {
    publish(state, ChangeKind::kSystem, "", [&] { return System_json(state); });
}

DeviceCounts countDevices(const State& state) {
    DeviceCounts counts;
    for (const auto& [id, device] : state.devices) {
        counts.encoders += device.type == DeviceType::kEncoder ? 1 : 0;
        counts.decoders += device.type == DeviceType::kDecoder ? 1 : 0;
        counts.offline += device.online ? 0 : 1;
    }
    return counts;
}

/// Tells of the system when the devices are others in number than before.
void publishCounts(State& state) {
    const DeviceCounts counts = countDevices(state);
    if (counts != std::exchange(state.counts, counts)) {
        publishSystem(state);
    }
}

/// Gives a decoder its routes, of which nothing is known yet, and takes those of a device away that
/// is none.
void fitRoutes(State& state, const Device& device) {
    for (ByName<Route>& routes : state.routes) {
        if (device.type == DeviceType::kDecoder) {
            routes.try_emplace(device.said.id);
        } else {
            routes.erase(device.said.id);
        }
    }
}

/// What the lines of one listing say under one identity.
struct Heard {
    const DeviceReport* report = nullptr;
    std::set<std::string> macs = {};
};

std::map<std::string_view, Heard> byIdentity(std::span<const DeviceReport> reports) {
    std::map<std::string_view, Heard> heard;
    for (const DeviceReport& report : reports) {
        if (!report.id.empty()) {
            Heard& entry = heard[report.id];
            entry.report = &report;
            entry.macs.insert(report.mac);
        }
    }
    return heard;
}

/// Takes the MACs of a listing over. One that no discovery hears any more is forgotten.
void learnMacs(Device& device, const std::set<std::string>& macs, bool missing, int patience) {
    for (auto& [mac, missed] : device.macs) {
        missed += missing ? 1 : 0;
    }
    for (const std::string& mac : macs) {
        device.macs[mac] = 0;
    }
    std::erase_if(device.macs, [&](const auto& known) { return known.second >= patience; });
}

/// What is told of a device that was heard, beside its being heard.
void tellOf(State& state, const Device& before, const Device& after, bool known) {
    const std::string& id = after.said.id;
    if (!known) {
        tell(state, "new", id, after.said.version);
    } else if (!before.online) {
        tell(state, "back", id, "");
    }
    if (known && before.said.version != after.said.version) {
        tell(state, "version", id, before.said.version + " -> " + after.said.version);
    }
}

void removeDevice(State& state, const std::string& id) {
    state.devices.erase(id);
    for (ByName<Route>& routes : state.routes) {
        routes.erase(id);
    }
    publish(state, ChangeKind::kDeviceRemoved, id, [&] { return Deleted_json("id", id); });
}

/// Makes room for another device, at the cost of the one that was not heard for the longest time.
void makeRoom(State& state) {
    if (state.devices.size() < kMostDevices) {
        return;
    }
    const auto oldest = std::ranges::min_element(
        state.devices, {}, [](const auto& entry) { return entry.second.lastSeen; });
    removeDevice(state, std::string(oldest->first));
}

void learnDevice(State& state, const Heard& heard, Time now, bool missing) {
    if (!state.devices.contains(heard.report->id)) {
        makeRoom(state);
    }
    const auto [place, added] = state.devices.try_emplace(heard.report->id);
    Device& device = place->second;
    const Device before = device;
    device.said = *heard.report;
    device.type = DeviceType_of(device.said.type);
    device.online = true;
    device.missed = 0;
    device.lastSeen = now;
    learnMacs(device, heard.macs, missing, state.offlineAfter);
    device.duplicate = device.macs.size() > 1;
    device.json = Device_json(device);
    ++state.reading;
    if (added || before.said != device.said || !before.online ||
        before.duplicate != device.duplicate) {
        fitRoutes(state, device);
        publish(state, ChangeKind::kDevice, device.said.id, [&] { return device.json; });
        tellOf(state, before, device, !added);
    }
}

void missDevice(State& state, Device& device) {
    learnMacs(device, {}, true, state.offlineAfter);
    ++device.missed;
    if (device.online && device.missed >= state.offlineAfter) {
        device.online = false;
        device.json = Device_json(device);
        publish(state, ChangeKind::kDevice, device.said.id, [&] { return device.json; });
        tell(state, "gone", device.said.id, "");
    }
}

/// A device has said something: it is there.
void hearDevice(State& state, Device& device, Time now) {
    device.lastSeen = now;
    device.missed = 0;
    const bool back = !std::exchange(device.online, true);
    device.json = Device_json(device);
    ++state.reading;
    if (back) {
        publish(state, ChangeKind::kDevice, device.said.id, [&] { return device.json; });
        tell(state, "back", device.said.id, "");
        publishCounts(state);
    }
}

template <class Resource>
void put(State& state, ByName<Resource>& resources, const std::string& name, Resource resource,
         ChangeKind kind, std::string (*jsonOf)(const Resource&)) {
    const Resource& kept = resources.insert_or_assign(name, std::move(resource)).first->second;
    publish(state, kind, name, [&] { return jsonOf(kept); });
}

template <class Resource>
bool takeOut(State& state, ByName<Resource>& resources, std::string_view name, ChangeKind kind,
             std::string_view key) {
    const auto found = resources.find(name);
    if (found == resources.end()) {
        return false;
    }
    const std::string taken = found->first;
    resources.erase(found);
    publish(state, kind, taken, [&] { return Deleted_json(key, taken); });
    return true;
}

}  // namespace

std::string_view ChangeKind_name(ChangeKind kind) {
    return kChangeNames.at(static_cast<std::size_t>(kind));
}

std::string_view DaemonState_name(DaemonState state) {
    return kDaemonNames.at(static_cast<std::size_t>(state));
}

State State_begin(std::string epoch, Time now) {
    State state;
    state.epoch = std::move(epoch);
    state.startedAt = now;
    state.daemon = {DaemonState::kAbsent, "The daemon has not been asked yet.", now};
    return state;
}

void State_listed(State& state, std::span<const DeviceReport> reports, Time now, bool missing) {
    const auto heard = byIdentity(reports);
    for (const auto& [id, entry] : heard) {
        learnDevice(state, entry, now, missing);
    }
    for (auto& [id, device] : state.devices) {
        if (missing && !heard.contains(id)) {
            missDevice(state, device);
        }
    }
    publishCounts(state);
}

void State_heard(State& state, std::string_view id, Time now) {
    if (const auto found = state.devices.find(id); found != state.devices.end()) {
        hearDevice(state, found->second, now);
    }
}

void State_routeSaid(State& state, RouteKind kind, std::string_view decoder,
                     std::string_view encoder, Time now) {
    auto& routes = state.routes.at(static_cast<std::size_t>(kind));
    const auto found = routes.find(decoder);
    if (found == routes.end()) {
        return;
    }
    Route& route = found->second;
    const bool news = !route.seenAt || route.encoder != encoder;
    route.encoder = encoder;
    route.seenAt = now;
    ++state.reading;
    if (news) {
        publish(state, ChangeKind::kRoute, std::string(RouteKind_name(kind)) + "/" + found->first,
                [&] { return Route_json(kind, found->first, route); });
    }
    State_heard(state, decoder, now);
}

void State_daemonIs(State& state, DaemonState nowIs, std::string_view reason, Time now) {
    DaemonHealth& daemon = state.daemon;
    const bool other = daemon.state != nowIs;
    if (!other && daemon.reason == reason) {
        return;
    }
    daemon = {nowIs, std::string(reason), other ? now : daemon.since};
    publishSystem(state);
    if (other) {
        tell(state, "daemon", "",
             std::string(DaemonState_name(nowIs)) +
                 (reason.empty() ? "" : ": " + std::string(reason)));
    }
}

void State_brokerIs(State& state, const BrokerHealth& broker) {
    if (state.broker != broker) {
        state.broker = broker;
        publishSystem(state);
    }
}

bool State_forget(State& state, std::string_view id) {
    const auto found = state.devices.find(id);
    if (found == state.devices.end() || found->second.online) {
        return false;
    }
    removeDevice(state, std::string(found->first));
    publishCounts(state);
    return true;
}

void State_put(State& state, Preset preset) {
    const std::string name = preset.name;
    put(state, state.presets, name, std::move(preset), ChangeKind::kPreset, Preset_json);
}

void State_put(State& state, Lock lock) {
    const std::string decoder = lock.decoder;
    put(state, state.locks, decoder, std::move(lock), ChangeKind::kLock, Lock_json);
}

void State_put(State& state, Room room) {
    const std::string name = room.name;
    put(state, state.rooms, name, std::move(room), ChangeKind::kRoom, Room_json);
}

void State_put(State& state, Wall wall) {
    const std::string name = wall.name;
    put(state, state.walls, name, std::move(wall), ChangeKind::kWall, Wall_json);
}

void State_put(State& state, Job job) {
    const std::string id = job.id;
    put(state, state.jobs, id, std::move(job), ChangeKind::kJob, Job_json);
}

bool State_removePreset(State& state, std::string_view name) {
    return takeOut(state, state.presets, name, ChangeKind::kPreset, "name");
}

bool State_removeLock(State& state, std::string_view decoder) {
    return takeOut(state, state.locks, decoder, ChangeKind::kLock, "decoder");
}

bool State_removeRoom(State& state, std::string_view name) {
    return takeOut(state, state.rooms, name, ChangeKind::kRoom, "name");
}

bool State_removeWall(State& state, std::string_view name) {
    return takeOut(state, state.walls, name, ChangeKind::kWall, "name");
}

bool State_removeJob(State& state, std::string_view id) {
    return takeOut(state, state.jobs, id, ChangeKind::kJob, "id");
}

void State_logged(State& state, std::string_view id, std::string json) {
    publish(state, ChangeKind::kLog, id, [&] { return std::move(json); });
}

const Device* State_device(const State& state, std::string_view id) {
    const auto found = state.devices.find(id);
    return found == state.devices.end() ? nullptr : &found->second;
}

const Route* State_route(const State& state, RouteKind kind, std::string_view decoder) {
    const auto& routes = state.routes.at(static_cast<std::size_t>(kind));
    const auto found = routes.find(decoder);
    return found == routes.end() ? nullptr : &found->second;
}

}  // namespace avoip::gw
