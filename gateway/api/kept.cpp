// Presets, locks and rooms: what people keep.
#include "gateway/api/handlers.hpp"
#include "gateway/api/json_body.hpp"
#include "gateway/api/limit.hpp"
#include "gateway/operations/routes.hpp"
#include "gateway/state/json.hpp"

namespace avoip::gw::handlers {
namespace {

/// Stores a resource, and takes it into the state then; gives its response.
template <class Resource>
Response keep(Gateway& gateway, std::string_view kind, const std::string& name,
              const Resource& resource, std::string json) {
    if (json.size() > kDocumentSizeMax) {
        throw Problem{413, "It takes more than " + std::to_string(kDocumentSizeMax / 1024) +
                               " KiB as it is kept."};
    }
    const bool isNew = Store_put(gateway.store, kind, name, json);
    gateway.state.with([&resource](State& state) { State_put(state, resource); });
    return Response_json(std::move(json), isNew ? 201 : 200);
}

/// Removes a resource from the store, and then from the state by `forget`.
Response drop(Gateway& gateway, std::string_view kind, const std::string& name,
              bool (*forget)(State& state, std::string_view name)) {
    const std::lock_guard lock(gateway.keeping);
    if (!Store_remove(gateway.store, kind, name)) {
        throw unknown(kind, name);
    }
    gateway.state.with([&](State& state) { forget(state, name); });
    return Response_empty();
}

/// A copy of what the state has under a name; throws 404.
template <class Resource>
Resource find(Gateway& gateway, const ByName<Resource> State::*all, std::string_view what,
              const std::string& name) {
    return gateway.state.with([&](const State& state) {
        const auto found = (state.*all).find(name);
        if (found == (state.*all).end()) {
            throw unknown(what, name);
        }
        return found->second;
    });
}

std::vector<RouteKind> kindsOf(const std::optional<std::vector<std::string>>& names) {
    if (!names) {
        return {kAllRouteKinds.begin(), kAllRouteKinds.end()};
    }
    std::vector<RouteKind> kinds;
    for (const std::string& name : *names) {
        const auto kind = RouteKind_find(name);
        if (!kind) {
            throw Problem{422, "capture.kinds must hold video, serial and ir only.",
                          "capture.kinds"};
        }
        kinds.push_back(*kind);
    }
    return kinds;
}

RouteTable capture(Gateway& gateway, const cJSON* wish) {
    constexpr std::string_view kMembers[] = {"decoders", "kinds"};
    Body body(wish, "capture.");
    body.only(kMembers);
    body.require("decoders");
    const auto decoders = body.texts("decoders");
    const auto kinds = body.texts("kinds");
    check(body);
    return take(Routes_capture(gateway.operations, *decoders, kindsOf(kinds)));
}

}  // namespace

Response presets(Gateway& gateway, Call& /*call*/) {
    return Response_json(
        gateway.state.with([](const State& state) { return Presets_text(state); }));
}

Response preset(Gateway& gateway, Call& call) {
    return Response_json(
        Preset_json(find(gateway, &State::presets, kPresetKind, call.parts.at(0))));
}

Response putPreset(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"name", "routes", "capture", "note"};
    checkName(call);
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    const cJSON* const routes = body.object("routes");
    const cJSON* const wish = body.object("capture");
    Preset made;
    made.name = call.parts.at(0);
    made.note = body.text("note").value_or("");
    if (body.text("name").value_or(made.name) != made.name) {
        body.blame("name", "name must be the one in the path, or left out.");
    }
    if ((routes == nullptr) == (wish == nullptr)) {
        body.blame("routes", "Either routes or capture has to be there.");
    }
    check(body);
    made.routes =
        routes != nullptr ? take(RouteTable_read(routes, "routes.")) : capture(gateway, wish);
    if (const auto problem = Routes_problemOfIds(made.routes, "routes.")) {
        throw Problem(*problem);
    }
    const std::lock_guard lock(gateway.keeping);
    made.updatedAt = gateway.clock();
    return keep(gateway, kPresetKind, made.name, made, Preset_json(made));
}

Response removePreset(Gateway& gateway, Call& call) {
    return drop(gateway, kPresetKind, call.parts.at(0), State_removePreset);
}

Response recallPreset(Gateway& gateway, Call& call) {
    const Preset recalled = find(gateway, &State::presets, kPresetKind, call.parts.at(0));
    return Response_json(
        RouteResults_json(take(Routes_recall(gateway.operations, actorOf(call), recalled.routes))));
}

Response locks(Gateway& gateway, Call& call) {
    return Response_json(gateway.state.with([&call](const State& state) {
        return Locks_text(state, Limit_of(state, call.caller).devices);
    }));
}

Response putLock(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"note"};
    const Json tree = Body_parse(call.body, true);
    Body body(tree.get());
    body.only(kMembers);
    Lock made;
    made.decoder = call.parts.at(0);
    made.owner = call.caller.name.value_or("");
    made.note = body.text("note").value_or("");
    check(body);
    call.detail = made.note;
    const std::lock_guard lock(gateway.keeping);
    made.since = gateway.clock();
    gateway.state.with([&made](const State& state) {
        if (const auto problem =
                Problem_ofDevice(state, made.decoder, DeviceKind::kDecoder, "id")) {
            throw Problem(*problem);
        }
        const auto held = state.locks.find(made.decoder);
        if (held == state.locks.end()) {
            return;
        }
        if (held->second.owner != made.owner) {
            throw Problem{409, "\"" + made.decoder + "\" is locked by " + held->second.owner + "."};
        }
        made.since = held->second.since;
    });
    return keep(gateway, kLockKind, made.decoder, made, Lock_json(made));
}

Response removeLock(Gateway& gateway, Call& call) {
    const std::string& decoder = call.parts.at(0);
    const Lock held = find(gateway, &State::locks, kLockKind, decoder);
    if (held.owner != call.caller.name && call.caller.role != Role::kAdmin) {
        throw Problem{403, "The lock is " + held.owner + "'s."};
    }
    return drop(gateway, kLockKind, decoder, State_removeLock);
}

Response rooms(Gateway& gateway, Call& call) {
    return Response_json(gateway.state.with([&call](const State& state) {
        return Rooms_text(state, Limit_of(state, call.caller).rooms);
    }));
}

Response room(Gateway& gateway, Call& call) {
    Limit_checkRoom(call.caller, call.parts.at(0));
    return Response_json(Room_json(find(gateway, &State::rooms, kRoomKind, call.parts.at(0))));
}

Response putRoom(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"name", "decoders", "encoders"};
    checkName(call);
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    Room made;
    made.name = call.parts.at(0);
    made.decoders = body.texts("decoders").value_or(std::vector<std::string>());
    made.encoders = body.texts("encoders").value_or(std::vector<std::string>());
    if (body.text("name").value_or(made.name) != made.name) {
        body.blame("name", "name must be the one in the path, or left out.");
    }
    check(body);
    const std::lock_guard lock(gateway.keeping);
    return keep(gateway, kRoomKind, made.name, made, Room_json(made));
}

Response removeRoom(Gateway& gateway, Call& call) {
    return drop(gateway, kRoomKind, call.parts.at(0), State_removeRoom);
}

}  // namespace avoip::gw::handlers
