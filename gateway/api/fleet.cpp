// The system, the devices and what is done to single ones.
#include "gateway/api/handlers.hpp"
#include "gateway/api/json_body.hpp"
#include "gateway/api/limit.hpp"
#include "gateway/operations/devices.hpp"
#include "gateway/operations/settings.hpp"
#include "gateway/state/json.hpp"

namespace avoip::gw::handlers {
namespace {

constexpr std::string_view kBytes = "application/octet-stream";

std::optional<DeviceType> typeOf(const Call& call) {
    const auto found = call.query.find("type");
    if (found == call.query.end()) {
        return std::nullopt;
    }
    for (const DeviceType type : {DeviceType::kEncoder, DeviceType::kDecoder}) {
        if (DeviceType_name(type) == found->second) {
            return type;
        }
    }
    throw Problem{422, "type must be encoder or decoder.", "type"};
}

/// What was taken on, and is not seen to be done.
Response accepted() {
    return Response_json("{}", 202);
}

Response ask(Gateway& gateway, const Call& call, Settings settings) {
    return Response_json(take(Settings_ask(gateway.operations, settings, call.parts.at(0))));
}

Response change(Gateway& gateway, const Call& call, Settings settings) {
    const Json body = Body_parse(call.body);
    return Response_json(
        take(Settings_change(gateway.operations, settings, call.parts.at(0), body.get())));
}

}  // namespace

Response system(Gateway& gateway, Call& /*call*/) {
    return Response_json(gateway.state.with([](const State& state) { return System_json(state); }));
}

Response devices(Gateway& gateway, Call& call) {
    DeviceFilter filter{typeOf(call), flag(call, "online")};
    if (filter.type || filter.online || call.caller.rooms) {
        return Response_json(gateway.state.with([&](const State& state) {
            filter.shown = Limit_of(state, call.caller).devices;
            return Devices_text(state, filter);
        }));
    }
    Response response;
    response.body = gateway.state.with([](State& state) { return Devices_text(state); });
    return response;
}

Response device(Gateway& gateway, Call& call) {
    const std::string& id = call.parts.at(0);
    Limit_checkDevice(gateway, call.caller, id);
    return Response_json(gateway.state.with([&id](const State& state) {
        const Device* const found = State_device(state, id);
        if (found == nullptr) {
            throw unknown("device", id);
        }
        return Device_json(*found);
    }));
}

Response renameDevice(Gateway& gateway, Call& call) {
    const Json body = Body_parse(call.body);
    const std::string alias = take(Alias_read(body.get()));
    call.detail = alias;
    return Response_json(take(Device_rename(gateway.operations, call.parts.at(0), alias)));
}

Response forgetDevice(Gateway& gateway, Call& call) {
    take(Device_forget(gateway.operations, call.parts.at(0)));
    return Response_empty();
}

Response ranges(Gateway& /*gateway*/, Call& /*call*/) {
    return Response_json(Settings_ranges());
}

Response parameters(Gateway& gateway, Call& call) {
    return ask(gateway, call, Settings::kParameters);
}

Response changeParameters(Gateway& gateway, Call& call) {
    return change(gateway, call, Settings::kParameters);
}

Response network(Gateway& gateway, Call& call) {
    return ask(gateway, call, Settings::kNetwork);
}

Response changeNetwork(Gateway& gateway, Call& call) {
    return change(gateway, call, Settings::kNetwork);
}

Response serial(Gateway& gateway, Call& call) {
    return ask(gateway, call, Settings::kSerial);
}

Response changeSerial(Gateway& gateway, Call& call) {
    return change(gateway, call, Settings::kSerial);
}

Response edid(Gateway& gateway, Call& call) {
    const auto bytes = take(Edid_ask(gateway.operations, call.parts.at(0)));
    if (call.accept.find(kBytes) == std::string::npos) {
        return Response_json(Edid_json(bytes));
    }
    Response response = Response_json(std::string(bytes.begin(), bytes.end()));
    response.type = kBytes;
    return response;
}

Response giveEdid(Gateway& gateway, Call& call) {
    const std::vector<std::uint8_t> bytes =
        call.binaryBody ? std::vector<std::uint8_t>(call.body.begin(), call.body.end())
                        : take(Edid_readBody(Body_parse(call.body).get()));
    if (bytes.empty()) {
        throw Problem{422, "The EDID holds no bytes; it is made of blocks of 128.", "edid"};
    }
    take(Edid_give(gateway.operations, call.parts.at(0), bytes));
    // No encoder tells its EDID.
    return Response_json(Edid_json(bytes, false));
}

Response sendSerial(Gateway& gateway, Call& call) {
    const Json body = Body_parse(call.body);
    take(Device_sendSerial(gateway.operations, call.parts.at(0), body.get()));
    return accepted();
}

Response identify(Gateway& gateway, Call& call) {
    Limit_checkDevice(gateway, call.caller, call.parts.at(0));
    take(Device_identify(gateway.operations, call.parts.at(0)));
    return accepted();
}

Response reboot(Gateway& gateway, Call& call) {
    take(Device_reboot(gateway.operations, call.parts.at(0)));
    return accepted();
}

Response factoryReset(Gateway& gateway, Call& call) {
    const Json body = Body_parse(call.body);
    take(Device_factoryReset(gateway.operations, call.parts.at(0), body.get()));
    return accepted();
}

}  // namespace avoip::gw::handlers
