#include "avoipsim/requests.hpp"

#include <algorithm>

#include "avoipsim/log.hpp"
#include "lib/base/base64.hpp"

namespace avoip::sim {
namespace {

struct Row;
using Handler = Outcome (*)(const Row&, const Request&, Device&);

// A request is for the devices that have its section.
struct Row {
    std::string_view cmd;
    std::string_view section;
    Handler handler;
};

Outcome ignored() {
    Outcome outcome;
    outcome.done = false;
    return outcome;
}

Outcome replied(const Request& request, const Device& device) {
    Outcome outcome;
    outcome.reply = Json_newObject();
    cJSON* ack = Json_addObject(outcome.reply.get(), "ack");
    Json_addText(ack, "cmd", request.cmd);
    Json_addText(ack, "status", "success");
    Json_addText(ack, "hostid", request.hostid);
    Json_addText(ack, "deviceid", device.id);
    return outcome;
}

Outcome happened(const Device& device, std::string_view event) {
    Outcome outcome;
    outcome.event = Log_begin(event);
    Json_addText(outcome.event.get(), "device", device.id);
    return outcome;
}

cJSON* addObject(const Outcome& outcome, std::string_view name) {
    return Json_addObject(outcome.reply.get(), name);
}

Outcome answerAck(const Row&, const Request& request, Device& device) {
    return replied(request, device);
}

Outcome answerDevice(const Row& row, const Request& request, Device& device) {
    Outcome outcome = replied(request, device);
    cJSON* object = addObject(outcome, row.section);
    Json_addText(object, "deviceid", device.id);
    Json_addText(object, "alias", Device_text(device, "device", "alias"));
    Json_addText(object, "devtype", Device_type(device));
    for (const char* key : {"devaddr", "devnetmask", "devgateway", "devmac"}) {
        Json_addText(object, key, Device_text(device, "netparams", key));
    }
    for (const char* key : {"status", "version"}) {
        Json_addText(object, key, Device_text(device, "device", key));
    }
    return outcome;
}

Outcome answerSection(const Row& row, const Request& request, Device& device) {
    Outcome outcome = replied(request, device);
    Section_add(*Device_section(device, row.section), addObject(outcome, row.section));
    return outcome;
}

// Encoder and decoder parameters carry who the device is before what it is set to.
Outcome answerParams(const Row& row, const Request& request, Device& device) {
    Outcome outcome = replied(request, device);
    cJSON* object = addObject(outcome, row.section);
    Json_addText(object, "deviceid", device.id);
    Json_addText(object, "alias", Device_text(device, "device", "alias"));
    Section_add(*Device_section(device, row.section), object);
    return outcome;
}

// Asked of an encoder, the EDID that it was given goes under the name that the asker looks for.
Outcome answerEdid(const Row& row, const Request& request, Device& device) {
    Outcome outcome = replied(request, device);
    Section_add(*Device_section(device, row.section), addObject(outcome, "rxedid"));
    return outcome;
}

// A route has two ends: the device itself and the peer that it was given. A request calls the peer
// "txid" whichever kind it is; a reply names encoder and decoder each by its own key.
Outcome answerRoute(const Row& row, const Request& request, Device& device) {
    Outcome outcome = replied(request, device);
    cJSON* object = addObject(outcome, row.section);
    const std::string peer = Device_text(device, row.section, "txid");
    const bool encoder = device.kind == DeviceKind::Encoder;
    Json_addText(object, "rxid", encoder ? peer : device.id);
    Json_addText(object, "txid", encoder ? device.id : peer);
    return outcome;
}

Outcome takeSection(const Row& row, const Request& request, Device& device) {
    const cJSON* object = Json_find(request.root.get(), row.section);
    if (!Json_isObject(object)) {
        return ignored();
    }
    Section_take(*Device_section(device, row.section), object);
    return {};
}

// A network setting that is sent empty (the MAC address always is) stays as it was.
Outcome takeNetwork(const Row& row, const Request& request, Device& device) {
    const Section before = *Device_section(device, row.section);
    Outcome outcome = takeSection(row, request, device);
    for (const Field& field : before.fields) {
        if (Device_text(device, row.section, field.key).empty()) {
            Device_set(device, row.section, field.key, field.value);
        }
    }
    return outcome;
}

Outcome clearSection(const Row& row, const Request&, Device& device) {
    Section_clear(*Device_section(device, row.section));
    return {};
}

Outcome setAlias(const Row& row, const Request& request, Device& device) {
    const auto alias = Json_text(Json_find(request.root.get(), "alias"), "name");
    if (!alias) {
        return ignored();
    }
    Device_set(device, row.section, "alias", *alias);
    return {};
}

Outcome removeAlias(const Row& row, const Request&, Device& device) {
    Device_set(device, row.section, "alias", "");
    return {};
}

Outcome receiveData(const Row& row, const Request& request, Device& device) {
    const auto text = Json_text(request.root.get(), "data");
    const auto data = text ? Base64_decode(*text) : std::nullopt;
    if (!data) {
        return ignored();
    }
    const std::string bytes(data->begin(), data->end());
    Outcome outcome = happened(device, row.cmd);
    Log_addHex(outcome.event, "hex", bytes);
    Log_addText(outcome.event, "text", bytes);
    return outcome;
}

Outcome showMe(const Row& row, const Request&, Device& device) {
    return happened(device, row.cmd);
}

Outcome reboot(const Row& row, const Request&, Device& device) {
    Outcome outcome = happened(device, row.cmd);
    outcome.reboots = true;
    return outcome;
}

Outcome factory(const Row& row, const Request&, Device& device) {
    Device_factory(device);
    return happened(device, row.cmd);
}

constexpr Row kRows[] = {
    {"config get device", "device", answerDevice},
    {"config set alias", "device", setAlias},
    {"config remove alias", "device", removeAlias},
    {"config get tx params", "txparams", answerParams},
    {"config set tx params", "txparams", takeSection},
    {"config get rx params", "rxparams", answerParams},
    {"config set rx params", "rxparams", takeSection},
    {"edid get", "rxedid", answerEdid},
    {"edid get", "txedid", answerEdid},
    {"edid set", "txedid", takeSection},
    {"config get net params", "netparams", answerSection},
    {"config set net params", "netparams", takeNetwork},
    {"matrix get", "rxsource", answerRoute},
    {"matrix set", "rxsource", takeSection},
    {"matrix clear", "rxsource", clearSection},
    {"serial get params", "serialparams", answerSection},
    {"serial set params", "serialparams", takeSection},
    {"serial matrix get", "serialsource", answerRoute},
    {"serial matrix set", "serialsource", takeSection},
    {"serial matrix clear", "serialsource", clearSection},
    {"serial data", "device", receiveData},
    {"ir matrix get", "irsource", answerRoute},
    {"ir matrix set", "irsource", takeSection},
    {"ir matrix clear", "irsource", clearSection},
    {"ir data", "device", receiveData},
    {"vw set", "vwsource", takeSection},
    {"vw remove", "vwsource", clearSection},
    {"device showme", "device", showMe},
    {"device reboot", "device", reboot},
    {"device factory", "device", factory},
    {"update tx", "txparams", answerAck},
    {"update rx", "rxparams", answerAck},
};

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
    request.hostid = Json_text(object, "hostid").value_or("");
    for (const cJSON* entry : Json_items(Json_find(object, "device"))) {
        request.ids.push_back(Json_text(entry, "id").value_or(""));
    }
    return request;
}

bool Request_isFor(const Request& request, const Device& device) {
    const std::string group = "All_" + Device_type(device);
    return std::any_of(request.ids.begin(), request.ids.end(), [&](const std::string& id) {
        return id == device.id || id == "All" || id == group;
    });
}

bool Request_isKnown(const Request& request) {
    return std::any_of(std::begin(kRows), std::end(kRows),
                       [&](const Row& row) { return row.cmd == request.cmd; });
}

Outcome Request_carryOut(const Request& request, Device& device) {
    for (const Row& row : kRows) {
        if (row.cmd == request.cmd && Device_section(device, row.section) != nullptr) {
            return row.handler(row, request, device);
        }
    }
    return ignored();
}

}  // namespace avoip::sim
