#include "avoipsim/device.hpp"

#include <algorithm>
#include <cstdio>
#include <span>
#include <utility>

#include "avoipsim/edid.hpp"
#include "lib/base/base64.hpp"

namespace avoip::sim {
namespace {

constexpr std::size_t kTextLength = 31;
constexpr std::size_t kEdidTextLength = 512;

struct FirstValue {
    std::string_view section;
    std::string_view key;
    std::string_view value{};
};

constexpr FirstValue kCommonValues[] = {
    {"device", "alias"},
    {"device", "status", "online"},
    {"device", "version", "1.0.0"},
    {"netparams", "hdcpserver", "0"},
    {"netparams", "static", "1"},
    {"netparams", "devaddr"},
    {"netparams", "devnetmask"},
    {"netparams", "devgateway"},
    {"netparams", "devmac"},
    {"serialparams", "baudrate", "115200"},
    {"serialparams", "databits", "8"},
    {"serialparams", "parity", "none"},
    {"serialparams", "stopbits", "1"},
    {"serialsource", "txid"},
};

constexpr FirstValue kEncoderValues[] = {
    {"txparams", "enctype", "H264"},     {"txparams", "encres", "1920x1080"},
    {"txparams", "fps", "30"},           {"txparams", "ratecontrol", "CBR"},
    {"txparams", "bitrate", "4000"},     {"txparams", "audioinput", "HDMI"},
    {"txparams", "audiocodec", "AAC"},   {"txparams", "audiofreq", "48000"},
    {"txparams", "audiobitrate", "128"}, {"txparams", "videoresstatus", "1920x1080p60"},
    {"txparams", "hdcpstatus", "off"},   {"txedid", "edid"},
};

constexpr FirstValue kDecoderValues[] = {
    {"rxparams", "luma", "50"},
    {"rxparams", "contrast", "50"},
    {"rxparams", "hue", "50"},
    {"rxparams", "saturation", "50"},
    {"rxparams", "videoformat", "0"},
    {"rxparams", "videoresstatus", "1920x1080p60"},
    {"rxparams", "hdcpstatus", "off"},
    {"rxedid", "edid"},
    {"rxsource", "txid"},
    {"irsource", "txid"},
    {"vwsource", "txid"},
    {"vwsource", "deviceid"},
    {"vwsource", "wigth"},
    {"vwsource", "height"},
    {"vwsource", "horcut"},
    {"vwsource", "vercut"},
    {"vwsource", "row"},
    {"vwsource", "column"},
    {"vwsource", "x"},
    {"vwsource", "y"},
};

void addFirstValues(State& state, std::span<const FirstValue> values) {
    for (const FirstValue& first : values) {
        if (state.empty() || state.back().name != first.section) {
            state.push_back({std::string(first.section), {}});
        }
        state.back().fields.push_back({std::string(first.key), std::string(first.value)});
    }
}

// Locally administered: 02:00, the kind, 00 and the number.
std::string macAddress(DeviceKind kind, int number) {
    char text[18];
    std::snprintf(text, sizeof text, "02:00:%02x:00:%02x:%02x",
                  kind == DeviceKind::Encoder ? 1U : 2U, static_cast<unsigned>(number) >> 8 & 0xFFU,
                  static_cast<unsigned>(number) & 0xFFU);
    return text;
}

std::string identity(DeviceKind kind, int number) {
    char text[kTextLength + 1];
    std::snprintf(text, sizeof text, "%s-%04d", kind == DeviceKind::Encoder ? "TX" : "RX", number);
    return text;
}

template <typename Fields>
auto findField(Fields& fields, std::string_view key) {
    return std::find_if(fields.begin(), fields.end(),
                        [key](const Field& field) { return field.key == key; });
}

void setField(Field& field, std::string_view value) {
    field.value = value.substr(0, field.key == "edid" ? kEdidTextLength : kTextLength);
}

// Reads one member of a device of the state file.
bool readSection(Device& device, const cJSON* object, std::string& problem) {
    Section* section = Device_section(device, Json_key(object));
    if (section == nullptr || !Json_isObject(object)) {
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
    const bool encoder = kind == DeviceKind::Encoder;
    addFirstValues(device.state, kCommonValues);
    addFirstValues(device.state, encoder ? std::span<const FirstValue>(kEncoderValues)
                                         : std::span<const FirstValue>(kDecoderValues));
    Device_set(device, "netparams", "devaddr", network.address);
    Device_set(device, "netparams", "devnetmask", network.netmask);
    Device_set(device, "netparams", "devgateway", network.gateway);
    Device_set(device, "netparams", "devmac", macAddress(kind, number));
    const Edid edid = Edid_make("Sim " + device.id, static_cast<std::uint32_t>(number));
    Device_set(device, encoder ? "txedid" : "rxedid", "edid", Base64_encode(edid));
    device.first = device.state;
    return device;
}

std::string Device_type(const Device& device) {
    return device.kind == DeviceKind::Encoder ? "TX" : "RX";
}

const Section* Device_section(const Device& device, std::string_view name) {
    const auto found =
        std::find_if(device.state.begin(), device.state.end(),
                     [name](const Section& section) { return section.name == name; });
    return found == device.state.end() ? nullptr : &*found;
}

Section* Device_section(Device& device, std::string_view name) {
    return const_cast<Section*>(Device_section(std::as_const(device), name));
}

std::string Device_text(const Device& device, std::string_view section, std::string_view key) {
    const Section* found = Device_section(device, section);
    if (found == nullptr) {
        return {};
    }
    const auto field = findField(found->fields, key);
    return field == found->fields.end() ? std::string() : field->value;
}

void Device_set(Device& device, std::string_view section, std::string_view key,
                std::string_view value) {
    Section* found = Device_section(device, section);
    if (found == nullptr) {
        return;
    }
    const auto field = findField(found->fields, key);
    if (field != found->fields.end()) {
        setField(*field, value);
    }
}

void Section_take(Section& section, const cJSON* object) {
    for (Field& field : section.fields) {
        if (const auto value = Json_text(object, field.key)) {
            setField(field, *value);
        }
    }
}

void Section_clear(Section& section) {
    for (Field& field : section.fields) {
        field.value.clear();
    }
}

void Section_add(const Section& section, cJSON* object) {
    for (const Field& field : section.fields) {
        Json_addText(object, field.key, field.value);
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
        Section_add(section, Json_addObject(object, section.name));
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
