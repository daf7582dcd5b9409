#include "avoipsim/device.hpp"

#include <algorithm>
#include <cstdio>

#include "avoipsim/make_edid.hpp"
#include "lib/base/base64.hpp"
#include "lib/wire/wire.hpp"

namespace avoip::sim {
namespace {

constexpr std::size_t kEdidTextLength = 512;

/// What a device is set to at first, where that is a text; all else is empty.
struct FirstValue {
    std::string_view section;
    std::string_view key;
    std::string_view value;
};

constexpr FirstValue kFirstValues[] = {
    {"device", "status", "online"},
    {"device", "version", "1.0.0"},
    {"netparams", "hdcpserver", "0"},
    {"netparams", "static", "1"},
    {"serialparams", "baudrate", "115200"},
    {"serialparams", "databits", "8"},
    {"serialparams", "parity", "none"},
    {"serialparams", "stopbits", "1"},
    {"txparams", "enctype", "H264"},
    {"txparams", "encres", "1920x1080"},
    {"txparams", "fps", "30"},
    {"txparams", "ratecontrol", "CBR"},
    {"txparams", "bitrate", "4000"},
    {"txparams", "audioinput", "HDMI"},
    {"txparams", "audiocodec", "AAC"},
    {"txparams", "audiofreq", "48000"},
    {"txparams", "audiobitrate", "128"},
    {"txparams", "videoresstatus", "1920x1080p60"},
    {"txparams", "hdcpstatus", "off"},
    {"rxparams", "luma", "50"},
    {"rxparams", "contrast", "50"},
    {"rxparams", "hue", "50"},
    {"rxparams", "saturation", "50"},
    {"rxparams", "videoformat", "0"},
    {"rxparams", "videoresstatus", "1920x1080p60"},
    {"rxparams", "hdcpstatus", "off"},
};

/// Fields of the protocol's records that a device keeps in a section other than the record's own,
/// because several records show them, or under another name.
struct Elsewhere {
    std::string_view record;
    std::string_view key;
    std::string_view section;
    std::string_view keptAs;
};

constexpr Elsewhere kElsewhere[] = {
    {"alias", "name", "device", "alias"},
    {"txparams", "alias", "device", "alias"},
    {"rxparams", "alias", "device", "alias"},
    {"device", "devaddr", "netparams", "devaddr"},
    {"device", "devnetmask", "netparams", "devnetmask"},
    {"device", "devgateway", "netparams", "devgateway"},
    {"device", "devmac", "netparams", "devmac"},
};

const Elsewhere* findElsewhere(std::string_view record, std::string_view key) {
    const auto* const found = std::ranges::find_if(kElsewhere, [&](const Elsewhere& each) {
        return each.record == record && each.key == key;
    });
    return found == std::end(kElsewhere) ? nullptr : found;
}

/// Locally administered: 02:00, the kind, 00 and the number.
std::string macAddress(DeviceKind kind, int number) {
    char text[18];
    std::snprintf(
        text, sizeof text, "02:00:%02x:00:%02x:%02x", kind == DeviceKind::kEncoder ? 1U : 2U,
        static_cast<unsigned>(number) >> 8 & 0xFFU, static_cast<unsigned>(number) & 0xFFU);
    return text;
}

std::string identity(DeviceKind kind, int number) {
    char text[kValueMax + 1];
    std::snprintf(text, sizeof text, "%s-%04d", kind == DeviceKind::kEncoder ? "TX" : "RX", number);
    return text;
}

template <typename Fields>
auto findField(Fields& fields, std::string_view key) {
    return std::ranges::find(fields, key, &Field::key);
}

/// What a reply says of who the device is.
bool isComputed(const WireRequest& request, std::string_view key) {
    return request.act == WireAct::kReads &&
           (key == "deviceid" || key == "devtype" || key == "rxid");
}

void addField(State& state, std::string_view section, std::string_view key) {
    auto found = std::ranges::find(state, section, &Section::name);
    if (found == state.end()) {
        found = state.insert(found, {std::string(section), {}});
    }
    if (findField(found->fields, key) == found->fields.end()) {
        found->fields.push_back({std::string(key), {}});
    }
}

/// Gives the device room for what requests to its kind set and read.
void addSections(Device& device) {
    const WireDevices kind =
        device.kind == DeviceKind::kEncoder ? WireDevices::kEncoders : WireDevices::kDecoders;
    for (const WireRequest& request : Wire_requests()) {
        if (request.devices != WireDevices::kAny && request.devices != kind) {
            continue;
        }
        for (const std::string_view key : request.record.fields) {
            if (!isComputed(request, key) && findElsewhere(request.record.key, key) == nullptr) {
                addField(device.state, request.record.key, key);
            }
        }
    }
}

void setField(Field& field, std::string_view value) {
    field.value = value.substr(0, field.key == "edid" ? kEdidTextLength : kValueMax);
}

/// Reads one member of a device of the state file.
bool readSection(Device& device, const cJSON* object, std::string& problem) {
    const auto section = std::ranges::find(device.state, Json_key(object), &Section::name);
    if (section == device.state.end() || !Json_isObject(object)) {
        problem = device.id + " has no section \"" + std::string(Json_key(object)) + "\"";
        return false;
    }
    for (const cJSON* member : Json_items(object)) {
        const auto field = findField(section->fields, Json_key(member));
        const auto text = Json_text(member);
        if (field == section->fields.end() || !text) {
            problem = device.id + " has no text \"" + std::string(Json_key(member)) + "\" in \"" +
                      section->name + "\"";
            return false;
        }
        setField(*field, *text);
    }
    return true;
}

}  // namespace

Device Device_make(DeviceKind kind, int number, const DeviceNetwork& network) {
    Device device;
    device.kind = kind;
    device.id = identity(kind, number);
    addSections(device);
    for (const FirstValue& first : kFirstValues) {
        Device_set(device, first.section, first.key, first.value);
    }
    Device_set(device, "netparams", "devaddr", network.address);
    Device_set(device, "netparams", "devnetmask", network.netmask);
    Device_set(device, "netparams", "devgateway", network.gateway);
    Device_set(device, "netparams", "devmac", macAddress(kind, number));
    const Edid edid = MakeEdid_screen("Sim " + device.id, static_cast<std::uint32_t>(number));
    const bool encoder = kind == DeviceKind::kEncoder;
    Device_set(device, encoder ? "txedid" : "rxedid", "edid", Base64_encode(edid));
    device.first = device.state;
    return device;
}

std::string Device_type(const Device& device) {
    return device.kind == DeviceKind::kEncoder ? "TX" : "RX";
}

const Field* Device_field(const Device& device, std::string_view record, std::string_view key) {
    if (const Elsewhere* elsewhere = findElsewhere(record, key)) {
        return Device_field(device, elsewhere->section, elsewhere->keptAs);
    }
    const auto section = std::ranges::find(device.state, record, &Section::name);
    if (section == device.state.end()) {
        return nullptr;
    }
    const auto field = findField(section->fields, key);
    return field == section->fields.end() ? nullptr : &*field;
}

std::string Device_text(const Device& device, std::string_view record, std::string_view key) {
    const Field* field = Device_field(device, record, key);
    return field == nullptr ? std::string() : field->value;
}

void Device_set(Device& device, std::string_view record, std::string_view key,
                std::string_view value) {
    if (const Field* field = Device_field(device, record, key)) {
        setField(const_cast<Field&>(*field), value);
    }
}

void Device_factory(Device& device) {
    const std::string version = Device_text(device, "device", "version");
    device.state = device.first;
    Device_set(device, "device", "version", version);
}

void Device_write(const Device& device, cJSON* object) {
    Json_addText(object, "deviceid", device.id);
    for (const Section& section : device.state) {
        cJSON* fields = Json_addObject(object, section.name);
        for (const Field& field : section.fields) {
            Json_addText(fields, field.key, field.value);
        }
    }
}

bool Device_read(Device& device, const cJSON* object, std::string& problem) {
    for (const cJSON* member : Json_items(object)) {
        if (Json_key(member) != "deviceid" && !readSection(device, member, problem)) {
            return false;
        }
    }
    device.first = device.state;
    return true;
}

}  // namespace avoip::sim
