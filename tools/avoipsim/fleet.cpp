#include "avoipsim/fleet.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "avoipsim/ipv4.hpp"
#include "avoipsim/requests.hpp"

namespace avoip::sim {
namespace {

struct Range {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    std::uint32_t netmask = 0;
};

bool isNetmask(std::uint32_t mask) {
    return mask != 0 && std::countl_one(mask) == std::popcount(mask);
}

/// The devices must fit between the network's own address and its broadcast address.
bool readRange(const FleetOptions& options, Range& range, std::string& problem) {
    const auto first = Ipv4_parse(options.firstAddress);
    const auto netmask = Ipv4_parse(options.netmask);
    if (!first || !netmask || !isNetmask(*netmask)) {
        problem = options.firstAddress + " with netmask " + options.netmask +
                  " is not an IPv4 address in a network";
        return false;
    }
    range = {*first, static_cast<std::uint32_t>(options.encoders + options.decoders), *netmask};
    const std::uint64_t hostsEnd = *first | ~*netmask;
    if ((*first & ~*netmask) == 0 || std::uint64_t{*first} + range.count > hostsEnd) {
        problem = std::to_string(range.count) + " devices from " + options.firstAddress +
                  " on do not fit into a network with netmask " + options.netmask +
                  "; choose a smaller --netmask or another --first-address";
        return false;
    }
    return true;
}

bool readFile(const std::string& path, std::string& text, std::string& problem) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (!file || !(content << file.rdbuf())) {
        problem = "state file " + path + " cannot be read: " + std::strerror(errno);
        return false;
    }
    text = content.str();
    return true;
}

// Whatever came of one datagram, gathered for the log and the network.
struct Hearing {
    Json line;
    cJSON* devices = nullptr;
    cJSON* faults = nullptr;
    std::vector<Json> events;
    std::vector<Reply> replies;
};

Hearing beginHearing(std::string_view event, const std::string& cmd, std::string_view datagram,
                     const std::string& asker) {
    Hearing hearing;
    hearing.line = Log_begin(event);
    Json_addText(hearing.line.get(), "from", asker);
    if (!cmd.empty()) {
        Json_addText(hearing.line.get(), "cmd", cmd);
    }
    if (!Log_addText(hearing.line, "datagram", datagram)) {
        Log_addHex(hearing.line, "hex", datagram);
    }
    hearing.devices = Json_addArray(hearing.line.get(), "devices");
    hearing.faults = Json_addObject(hearing.line.get(), "faults");
    return hearing;
}

void addReply(const Fleet& fleet, Hearing& hearing, const Device& device, const Fault& fault,
              cJSON* reply) {
    const std::string address = Device_text(device, "netparams", "devaddr");
    const std::string text = Faults_print(fault, reply);
    for (int copy = 0; copy < (fault.duplicate ? 2 : 1); ++copy) {
        const auto place = static_cast<int>(hearing.replies.size());
        hearing.replies.push_back({address, text, fault.delay + place * fleet.options.spacing});
    }
    const std::string name = Faults_name(fault);
    if (!name.empty()) {
        Json_addText(hearing.faults, device.id, name);
    }
}

void hearAtDevice(const Fleet& fleet, Hearing& hearing, const Request& request, Device& device,
                  const Fault& fault, Clock::time_point now) {
    Outcome outcome = Request_carryOut(request, device);
    if (!outcome.done) {
        return;
    }
    Json_appendText(hearing.devices, device.id);
    if (outcome.reboots) {
        device.silentUntil = now + fleet.options.rebootTime;
    }
    if (outcome.reply != nullptr) {
        addReply(fleet, hearing, device, fault, outcome.reply.get());
    }
    if (outcome.event != nullptr) {
        hearing.events.push_back(std::move(outcome.event));
    }
}

}  // namespace

bool Fleet_make(Fleet& fleet, std::string& problem) {
    const FleetOptions& options = fleet.options;
    Range range;
    if (!readRange(options, range, problem)) {
        return false;
    }
    const std::string gateway =
        options.gateway.empty() ? Ipv4_text((range.first & range.netmask) + 1) : options.gateway;
    for (std::uint32_t i = 0; i < range.count; ++i) {
        const int index = static_cast<int>(i);
        const bool encoder = index < options.encoders;
        fleet.devices.push_back(
            Device_make(encoder ? DeviceKind::kEncoder : DeviceKind::kDecoder,
                        encoder ? index + 1 : index - options.encoders + 1,
                        {Ipv4_text(range.first + i), options.netmask, gateway}));
    }
    for (const std::string& id : options.faults.silent) {
        if (Fleet_device(fleet, id) == nullptr) {
            problem = "--silent names " + id + ", which is no device of this fleet";
            return false;
        }
    }
    return true;
}

Device* Fleet_device(Fleet& fleet, std::string_view id) {
    const auto found = std::find_if(fleet.devices.begin(), fleet.devices.end(),
                                    [id](const Device& device) { return device.id == id; });
    return found == fleet.devices.end() ? nullptr : &*found;
}

Device* Fleet_deviceAt(Fleet& fleet, std::string_view address) {
    const auto found =
        std::find_if(fleet.devices.begin(), fleet.devices.end(), [address](const Device& device) {
            return Device_text(device, "netparams", "devaddr") == address;
        });
    return found == fleet.devices.end() ? nullptr : &*found;
}

bool Fleet_listens(const Fleet& fleet, const Device& device, Clock::time_point now) {
    const auto& silent = fleet.options.faults.silent;
    return device.silentUntil <= now &&
           std::find(silent.begin(), silent.end(), device.id) == silent.end();
}

bool Fleet_loadState(Fleet& fleet, const std::string& path, std::string& problem) {
    std::string text;
    if (!readFile(path, text, problem)) {
        return false;
    }
    const Json root = Json_parse(text);
    const cJSON* devices = Json_find(root.get(), "devices");
    if (!Json_isArray(devices)) {
        problem = "state file " + path +
                  " does not hold {\"devices\":[...]}; --save-state writes one to start from";
        return false;
    }
    for (const cJSON* entry : Json_items(devices)) {
        const std::string id = Json_text(entry, "deviceid").value_or("");
        Device* device = Fleet_device(fleet, id);
        std::string reason = "\"" + id + "\" is no device of this fleet";
        if (device == nullptr || !Device_read(*device, entry, reason)) {
            problem = "state file " + path;
            problem += ": " + reason;
            return false;
        }
    }
    return true;
}

Json Fleet_state(const Fleet& fleet) {
    Json root = Json_newObject();
    cJSON* devices = Json_addArray(root.get(), "devices");
    for (const Device& device : fleet.devices) {
        Device_write(device, Json_appendObject(devices));
    }
    return root;
}

bool Fleet_saveState(const Fleet& fleet, const std::string& path, std::string& problem) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << Json_printForPeople(Fleet_state(fleet).get()) << '\n';
    file.close();
    if (!file) {
        problem = "state file " + path + " cannot be written: " + std::strerror(errno);
        return false;
    }
    return true;
}

std::vector<Reply> Fleet_hear(Fleet& fleet, std::string_view datagram, const std::string& asker,
                              Clock::time_point now) {
    const std::uint64_t number = fleet.requests++;
    const auto request = Request_parse(datagram);
    const bool known = request && request->wire != nullptr;
    Hearing hearing = beginHearing(known ? "request" : "not understood",
                                   request ? request->cmd : "", datagram, asker);
    for (std::size_t i = 0; known && i < fleet.devices.size(); ++i) {
        Device& device = fleet.devices[i];
        if (!Request_isFor(*request, device) || !Fleet_listens(fleet, device, now)) {
            continue;
        }
        const Fault fault = Faults_draw(fleet.options.faults, number, i);
        if (fault.lost) {
            Json_addText(hearing.faults, device.id, "lost");
        } else {
            hearAtDevice(fleet, hearing, *request, device, fault, now);
        }
    }
    Log_write(fleet.log, hearing.line);
    for (const Json& event : hearing.events) {
        Log_write(fleet.log, event);
    }
    return std::move(hearing.replies);
}

}  // namespace avoip::sim
