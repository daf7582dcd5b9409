#include "lib/client/fleet.hpp"

namespace avoip {

namespace {

DeviceKind kindOf(std::string_view type) {
    if (type == "TX") {
        return DeviceKind::kEncoder;
    }
    return type == "RX" ? DeviceKind::kDecoder : DeviceKind::kAny;
}

}  // namespace

void Fleet_learn(Fleet& fleet, const Command& listing, const Answer& answer) {
    std::erase_if(fleet, [&](const auto& known) {
        return listing.lists == DeviceKind::kAny || listing.lists == known.second.kind;
    });
    const auto member = [&](const Row& row, std::string_view key) {
        return Answer_member(listing.shape, row, key);
    };
    for (const Row& row : answer.rows) {
        fleet[member(row, "hostid")] = {kindOf(member(row, "devtype")), member(row, "devmac"),
                                        member(row, "devaddr"), member(row, "alias")};
    }
}

const DeviceFacts* Fleet_find(const Fleet& fleet, std::string_view identity) {
    const auto found = fleet.find(identity);
    return found == fleet.end() ? nullptr : &found->second;
}

}  // namespace avoip
