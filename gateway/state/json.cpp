#include "gateway/state/json.hpp"

#include "lib/base/json.hpp"
#include "lib/base/printable.hpp"

namespace avoip::gw {

namespace {

std::string print(const Json& tree) {
    return Printable_json(Json_print(tree.get()));
}

std::string timeOrNothing(const std::optional<Time>& time) {
    return time ? Time_text(*time) : std::string();
}

Json deviceTree(const Device& device) {
    Json root = Json_newObject();
    const DeviceReport& said = device.said;
    Json_addText(root.get(), "id", said.id);
    Json_addText(root.get(), "type", DeviceType_name(device.type));
    Json_addText(root.get(), "alias", said.alias);
    Json_addText(root.get(), "address", said.address);
    Json_addText(root.get(), "netmask", said.netmask);
    Json_addText(root.get(), "gateway", said.gateway);
    Json_addText(root.get(), "mac", said.mac);
    Json_addText(root.get(), "status", said.status);
    Json_addText(root.get(), "version", said.version);
    Json_addTruth(root.get(), "online", device.online);
    Json_addText(root.get(), "last_seen", Time_text(device.lastSeen));
    Json_addTruth(root.get(), "duplicate", device.duplicate);
    return root;
}

void addRoute(cJSON* parent, const Route& route) {
    Json_addTextOrNull(parent, "encoder", route.encoder);
    Json_addTextOrNull(parent, "seen_at", timeOrNothing(route.seenAt));
}

void addTexts(cJSON* parent, std::string_view key, const std::vector<std::string>& texts) {
    cJSON* const array = Json_addArray(parent, key);
    for (const std::string& text : texts) {
        Json_appendText(array, text);
    }
}

void addTile(cJSON* parent, const Wall& wall, const Tile& tile) {
    const TileOffset offset = Wall_offset(wall, tile);
    Json_addText(parent, "decoder", tile.decoder);
    Json_addWhole(parent, "column", tile.column);
    Json_addWhole(parent, "row", tile.row);
    cJSON* const computed = Json_addObject(parent, "computed");
    Json_addWhole(computed, "x", offset.x);
    Json_addWhole(computed, "y", offset.y);
    Json_addWhole(computed, "horcut", wall.bezelHorizontal);
    Json_addWhole(computed, "vercut", wall.bezelVertical);
}

void addJobDevice(cJSON* parent, const JobDevice& device) {
    Json_addText(parent, "id", device.id);
    Json_addText(parent, "state", JobDeviceState_name(device.state));
    Json_addTextOrNull(parent, "version_before", device.versionBefore);
    Json_addTextOrNull(parent, "version_after", device.versionAfter);
    Json_addTextOrNull(parent, "problem", device.problem);
}

bool isShown(const ShownNames& shown, std::string_view name) {
    return !shown || shown(name);
}

std::string headOf(const State& state) {
    return R"({"epoch":")" + state.epoch + R"(","revision":)" + std::to_string(state.revision);
}

/// A collection of the texts that `textOf` gives of the resources that are shown.
template <class Resources, class TextOf>
std::string collection(const State& state, std::string_view name, const Resources& resources,
                       TextOf textOf, const ShownNames& shown = {}) {
    std::string text = headOf(state) + ",\"" + std::string(name) + "\":[";
    const char* separator = "";
    for (const auto& [key, resource] : resources) {
        if (!isShown(shown, key)) {
            continue;
        }
        if (const std::string item = textOf(resource); !item.empty()) {
            text.append(separator).append(item);
            separator = ",";
        }
    }
    return text + "]}";
}

bool passes(const Device& device, const DeviceFilter& filter) {
    return (!filter.type || device.type == *filter.type) &&
           (!filter.online || device.online == *filter.online);
}

}  // namespace

std::string Device_json(const Device& device) {
    return print(deviceTree(device));
}

std::string Device_jsonConfirmed(const Device& device, bool confirmed) {
    const Json root = deviceTree(device);
    Json_addTruth(root.get(), "confirmed", confirmed);
    return print(root);
}

std::string Route_json(RouteKind kind, std::string_view decoder, const Route& route) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "kind", RouteKind_name(kind));
    Json_addText(root.get(), "decoder", decoder);
    addRoute(root.get(), route);
    return print(root);
}

void RouteTable_write(cJSON* parent, const RouteTable& routes) {
    cJSON* const object = Json_addObject(parent, "routes");
    for (const RouteKind kind : kAllRouteKinds) {
        const auto& wanted = routes.at(static_cast<std::size_t>(kind));
        cJSON* const table =
            wanted.empty() ? nullptr : Json_addObject(object, RouteKind_name(kind));
        for (const auto& [decoder, encoder] : wanted) {
            Json_addTextOrNull(table, decoder, encoder);
        }
    }
}

std::string Preset_json(const Preset& preset) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "name", preset.name);
    Json_addTextOrNull(root.get(), "note", preset.note);
    RouteTable_write(root.get(), preset.routes);
    Json_addText(root.get(), "updated_at", Time_text(preset.updatedAt));
    return print(root);
}

std::string Lock_json(const Lock& lock) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "decoder", lock.decoder);
    Json_addText(root.get(), "owner", lock.owner);
    Json_addTextOrNull(root.get(), "note", lock.note);
    Json_addText(root.get(), "since", Time_text(lock.since));
    return print(root);
}

std::string Room_json(const Room& room) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "name", room.name);
    addTexts(root.get(), "decoders", room.decoders);
    addTexts(root.get(), "encoders", room.encoders);
    return print(root);
}

std::string Wall_json(const Wall& wall) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "name", wall.name);
    Json_addText(root.get(), "encoder", wall.encoder);
    Json_addWhole(root.get(), "columns", wall.columns);
    Json_addWhole(root.get(), "rows", wall.rows);
    Json_addWhole(root.get(), "width", wall.width);
    Json_addWhole(root.get(), "height", wall.height);
    cJSON* const bezel = Json_addObject(root.get(), "bezel");
    Json_addWhole(bezel, "horizontal", wall.bezelHorizontal);
    Json_addWhole(bezel, "vertical", wall.bezelVertical);
    cJSON* const tiles = Json_addArray(root.get(), "tiles");
    for (const Tile& tile : wall.tiles) {
        addTile(Json_appendObject(tiles), wall, tile);
    }
    return print(root);
}

std::string Job_json(const Job& job) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "id", job.id);
    Json_addText(root.get(), "kind", "installation");
    Json_addText(root.get(), "image", job.image);
    Json_addText(root.get(), "state", JobState_name(job.state));
    Json_addTextOrNull(root.get(), "problem", job.problem);
    cJSON* const devices = Json_addArray(root.get(), "devices");
    for (const JobDevice& device : job.devices) {
        addJobDevice(Json_appendObject(devices), device);
    }
    return print(root);
}

std::string System_json(const State& state) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "name", "avoipgw");
    Json_addText(root.get(), "version", state.version);
    Json_addText(root.get(), "site", state.site);
    Json_addText(root.get(), "epoch", state.epoch);
    Json_addWhole(root.get(), "revision", static_cast<std::int64_t>(state.revision));
    Json_addText(root.get(), "started_at", Time_text(state.startedAt));
    cJSON* const daemon = Json_addObject(root.get(), "daemon");
    Json_addText(daemon, "state", DaemonState_name(state.daemon.state));
    Json_addTextOrNull(daemon, "reason", state.daemon.reason);
    Json_addText(daemon, "since", Time_text(state.daemon.since));
    cJSON* const devices = Json_addObject(root.get(), "devices");
    Json_addWhole(devices, "encoders", state.counts.encoders);
    Json_addWhole(devices, "decoders", state.counts.decoders);
    Json_addWhole(devices, "offline", state.counts.offline);
    cJSON* const mqtt = Json_addObject(root.get(), "mqtt");
    Json_addText(mqtt, "state", state.broker.state);
    Json_addTextOrNull(mqtt, "broker", state.broker.broker);
    return print(root);
}

std::string Deleted_json(std::string_view key, std::string_view name) {
    const Json root = Json_newObject();
    Json_addText(root.get(), key, name);
    Json_addTruth(root.get(), "deleted", true);
    return print(root);
}

std::shared_ptr<const std::string> Devices_text(State& state) {
    SharedText& shared = state.devicesText;
    if (shared.reading != state.reading) {
        shared = {state.reading, std::make_shared<const std::string>(Devices_text(state, {}))};
    }
    return shared.text;
}

std::string Devices_text(const State& state, const DeviceFilter& filter) {
    const auto text = [&](const Device& device) {
        return passes(device, filter) ? device.json : std::string();
    };
    return collection(state, "devices", state.devices, text, filter.shown);
}

std::string Routes_text(const State& state, const ShownNames& decoders) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "epoch", state.epoch);
    Json_addWhole(root.get(), "revision", static_cast<std::int64_t>(state.revision));
    for (const RouteKind kind : kAllRouteKinds) {
        cJSON* const table = Json_addObject(root.get(), RouteKind_name(kind));
        for (const auto& [decoder, route] : state.routes.at(static_cast<std::size_t>(kind))) {
            if (isShown(decoders, decoder)) {
                addRoute(Json_addObject(table, decoder), route);
            }
        }
    }
    return print(root);
}

std::string Presets_text(const State& state) {
    return collection(state, "presets", state.presets, Preset_json);
}

std::string Locks_text(const State& state, const ShownNames& decoders) {
    return collection(state, "locks", state.locks, Lock_json, decoders);
}

std::string Rooms_text(const State& state, const ShownNames& rooms) {
    return collection(state, "rooms", state.rooms, Room_json, rooms);
}

std::string Walls_text(const State& state) {
    return collection(state, "walls", state.walls, Wall_json);
}

std::string Jobs_text(const State& state) {
    return collection(state, "jobs", state.jobs, Job_json);
}

}  // namespace avoip::gw
