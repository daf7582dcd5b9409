#include "avoipsim/faults.hpp"

#include <vector>

namespace avoip::sim {
namespace {

/// SplitMix64: a counter through a mixing function. Every value of the counter is a good seed.
std::uint64_t mix(std::uint64_t value) {
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27) * 0x94D049BB133111EBU;
    return value ^ value >> 31;
}

struct Random {
    std::uint64_t counter;

    std::uint64_t number() { return mix(counter += 0x9E3779B97F4A7C15U); }
    /// From 0 to less than 1.
    double fraction() { return static_cast<double>(number() >> 11) * 0x1p-53; }
    bool happens(double probability) { return fraction() < probability; }
};

/// Each member of the ack, the data object and each member of it may be the missing one.
void leaveOutMember(cJSON* reply, std::uint64_t choice) {
    struct Place {
        cJSON* parent;
        const cJSON* member;
    };
    std::vector<Place> places;
    for (const cJSON* object : Json_items(reply)) {
        if (Json_key(object) != "ack") {
            places.push_back({reply, object});
        }
        for (const cJSON* member : Json_items(object)) {
            places.push_back({Json_find(reply, Json_key(object)), member});
        }
    }
    const Place place = places[static_cast<std::size_t>(choice % places.size())];
    Json_remove(place.parent, place.member);
}

void leaveOutData(cJSON* reply) {
    std::vector<const cJSON*> data;
    for (const cJSON* object : Json_items(reply)) {
        if (Json_key(object) != "ack") {
            data.push_back(object);
        }
    }
    for (const cJSON* object : data) {
        Json_remove(reply, object);
    }
}

}  // namespace

Fault Faults_draw(const FaultOptions& options, std::uint64_t request, std::uint64_t device) {
    Random random{mix(mix(mix(options.seed) + request) + device)};
    Fault fault;
    fault.lost = random.happens(options.loss);
    fault.duplicate = random.happens(options.duplicate);
    fault.wrongHostid = random.happens(options.wrongHostid);
    fault.failed = random.happens(options.failed);
    fault.missingKey = random.happens(options.missingKey);
    fault.notJson = random.happens(options.notJson);
    fault.missingMember = random.number();
    const auto range = static_cast<std::uint64_t>(options.delayMax_ms - options.delayMin_ms) + 1;
    fault.delay = std::chrono::milliseconds(options.delayMin_ms) +
                  std::chrono::milliseconds(random.number() % range);
    return fault;
}

std::string Faults_print(const Fault& fault, cJSON* reply) {
    if (fault.notJson) {
        return "this is not JSON";
    }
    if (fault.wrongHostid) {
        Json_replaceText(Json_find(reply, "ack"), "hostid", "ffffffffffff");
    }
    if (fault.failed) {
        Json_replaceText(Json_find(reply, "ack"), "status", "failure");
        leaveOutData(reply);
    }
    if (fault.missingKey) {
        leaveOutMember(reply, fault.missingMember);
    }
    return Json_print(reply);
}

std::string Faults_name(const Fault& fault) {
    const std::pair<bool, const char*> names[] = {
        {fault.duplicate, "duplicate"}, {fault.wrongHostid, "wrong hostid"},
        {fault.failed, "failed"},       {fault.missingKey, "missing key"},
        {fault.notJson, "not JSON"},
    };
    std::string text;
    for (const auto& [happens, name] : names) {
        if (happens) {
            text += (text.empty() ? "" : ", ") + std::string(name);
        }
    }
    return text;
}

}  // namespace avoip::sim
