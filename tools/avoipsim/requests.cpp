#include "avoipsim/requests.hpp"

#include <algorithm>

#include "avoipsim/log.hpp"
#include "lib/base/base64.hpp"

namespace avoip::sim {
namespace {

Outcome ignored() {
    Outcome outcome;
    outcome.done = false;
    return outcome;
}

bool isEncoder(const Device& device) {
    return device.kind == DeviceKind::kEncoder;
}

/// Whether a device answers with the EDID that it was given: the one liberty.
bool showsItsEdid(const WireRequest& wire, const Device& device) {
    return wire.cmd == "edid get" && isEncoder(device);
}

bool isKnownTo(const WireRequest& wire, const Device& device) {
    return wire.devices == WireDevices::kAny || showsItsEdid(wire, device) ||
           (wire.devices == WireDevices::kEncoders) == isEncoder(device);
}

/// What a reply says of a field. A route has two ends: the device itself and the peer that it was
/// given. A request calls the peer "txid" whichever kind it is; a reply names encoder and decoder
/// each by its own key.
std::string reported(const Device& device, const WireRequest& wire, std::string_view key) {
    if (key == "deviceid") {
        return device.id;
    }
    if (key == "devtype") {
        return Device_type(device);
    }
    if (key == "rxid" || key == "txid") {
        const bool own = (key == "txid") == isEncoder(device);
        return own ? device.id : Device_text(device, wire.record.key, "txid");
    }
    const bool given = showsItsEdid(wire, device);
    return Device_text(device, given ? "txedid" : wire.record.key, key);
}

Outcome reply(const Request& request, const Device& device) {
    Outcome outcome;
    outcome.reply = Json_newObject();
    cJSON* ack = Json_addObject(outcome.reply.get(), "ack");
    Json_addText(ack, "cmd", request.cmd);
    Json_addText(ack, "status", "success");
    Json_addText(ack, "hostid", request.hostid);
    Json_addText(ack, "deviceid", device.id);
    const WireRecord& record = request.wire->record;
    if (!record.key.empty()) {
        cJSON* object = Json_addObject(outcome.reply.get(), record.key);
        for (const std::string_view key : record.fields) {
            Json_addText(object, key, reported(device, *request.wire, key));
        }
    }
    return outcome;
}

/// Takes over each field that the request has. A network setting that is sent empty (the MAC
/// address always is) stays as it was.
Outcome take(const Request& request, Device& device) {
    const WireRecord& record = request.wire->record;
    const cJSON* object = Json_find(request.root.get(), record.key);
    bool any = false;
    for (const std::string_view key : record.fields) {
        const auto text = Json_text(object, key);
        any = any || text;
        if (text && !(text->empty() && record.key == "netparams")) {
            Device_set(device, record.key, key, *text);
        }
    }
    return any ? Outcome{} : ignored();
}

Outcome clear(const Request& request, Device& device) {
    for (const std::string_view key : request.wire->record.fields) {
        Device_set(device, request.wire->record.key, key, "");
    }
    return {};
}

/// Whatever an order has to show, shows in the log: its name, and its bytes where it has some.
Outcome obey(const Request& request, Device& device) {
    Outcome outcome;
    outcome.event = Log_begin(request.cmd);
    Json_addText(outcome.event.get(), "device", device.id);
    for (const std::string_view key : request.wire->texts) {
        const auto data = Base64_decode(Json_text(request.root.get(), key).value_or("?"));
        if (!data) {
            return ignored();
        }
        const std::string bytes(data->begin(), data->end());
        Log_addHex(outcome.event, "hex", bytes);
        Log_addText(outcome.event, "text", bytes);
    }
    if (request.cmd == "device factory") {
        Device_factory(device);
    }
    outcome.reboots = request.cmd == "device reboot";
    return outcome;
}

}  // namespace

std::optional<Request> Request_parse(std::string_view datagram) {
    Request request;
    request.root = Json_parseBeginning(datagram);
    const cJSON* object = Json_find(request.root.get(), "request");
    const auto cmd = Json_text(object, "cmd");
    if (!cmd) {
        return std::nullopt;
    }
    request.cmd = *cmd;
    request.wire = Wire_find(request.cmd);
    request.hostid = Json_text(object, "hostid").value_or("");
    for (const cJSON* entry : Json_items(Json_find(object, "device"))) {
        request.ids.push_back(Json_text(entry, "id").value_or(""));
    }
    return request;
}

bool Request_isFor(const Request& request, const Device& device) {
    const std::string_view kind = isEncoder(device) ? kEveryEncoder : kEveryDecoder;
    return std::ranges::any_of(request.ids, [&](const std::string& id) {
        return id == device.id || id == kEveryDevice || id == kind;
    });
}

Outcome Request_carryOut(const Request& request, Device& device) {
    if (request.wire == nullptr || !isKnownTo(*request.wire, device)) {
        return ignored();
    }
    switch (request.wire->act) {
        case WireAct::kReads:
        case WireAct::kUploads:
            return reply(request, device);
        case WireAct::kSets:
            return take(request, device);
        case WireAct::kClears:
            return clear(request, device);
        case WireAct::kOrders:
            return obey(request, device);
    }
    return ignored();
}

}  // namespace avoip::sim
