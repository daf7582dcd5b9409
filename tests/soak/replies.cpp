#include "soak/replies.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include "lib/base/base64.hpp"
#include "lib/wire/wire.hpp"

namespace soak {

namespace {

/// Enough for the replies of all devices to every line of the largest crowd.
constexpr int kRoom = 64 * 1024 * 1024;

constexpr std::string_view kListingCmd = "config get device";

/// The daemon's own identity: the address of its control interface.
constexpr std::string_view kHostId = "001122aabbcc";

std::string hexOfBase64(const std::string& text) {
    std::string hex;
    for (const std::uint8_t byte :
         avoip::Base64_decode(text).value_or(std::vector<std::uint8_t>{})) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned>(byte));
        hex += digits.data();
    }
    return hex;
}

/// What a reply's record says under the key that an answer has for it; nothing when it lacks that.
std::optional<std::string> valueFor(const cJSON* record, std::string_view key) {
    if (key == "edid") {
        const auto base64 = avoip::Json_text(record, key);
        return base64 ? std::optional(hexOfBase64(*base64)) : std::nullopt;
    }
    // A listing calls a device's identity "hostid" (kept: devicelist-hostid).
    return avoip::Json_text(record, key == "hostid" ? "deviceid" : key);
}

/// Whether all of `data` is the record's, but for the identity that was asked for: answers name a
/// device as it was typed.
bool holds(const cJSON* record, const cJSON* data, std::string_view asked) {
    if (record == nullptr) {
        return false;
    }
    for (const cJSON* member : avoip::Json_items(data)) {
        const auto told = avoip::Json_text(member);
        const auto sent = valueFor(record, avoip::Json_key(member));
        const bool typed = !asked.empty() && told == asked;
        if (!told || (!typed && told != sent)) {
            return false;
        }
    }
    return true;
}

/// Whether `data` is a route to nobody that the daemon made of a reply without a whole route
/// (kept: routeless-reply).
bool isRouteless(std::string_view cmd, const cJSON* record, const cJSON* data) {
    return cmd == "matrix get" && avoip::Json_text(data, "txid") == "" &&
           (!avoip::Json_text(record, "rxid") || !avoip::Json_text(record, "txid"));
}

/// Whether the daemon lists a device for this reply: nothing of what is asked for is missing.
bool isListable(const cJSON* ack, const cJSON* record) {
    const auto stands = [](const cJSON* object) {
        return [object](std::string_view key) { return avoip::Json_text(object, key).has_value(); };
    };
    return record != nullptr && std::ranges::all_of(avoip::kAckFields, stands(ack)) &&
           std::ranges::all_of(avoip::Wire_find(kListingCmd)->record.fields, stands(record));
}

/// The "cmd" of the request that a line sends.
std::string cmdOf(const Line& line) {
    const avoip::Json request = avoip::Json_parse(line.datagrams.front());
    return avoip::Json_text(avoip::Json_find(request.get(), "request"), "cmd").value_or("");
}

}  // namespace

Replies::Replies() {
    cable_.keepOnly(avoip::kReplyPort);
    cable_.makeRoom(kRoom);
}

void Replies::hear() {
    for (bed::CableDatagram& datagram : cable_.take()) {
        replies_.push_back({.text = std::move(datagram.text)});
    }
}

void Replies::beginCommand() {
    hear();
    before_ = replies_.size();
}

const cJSON* Replies::ackOf(Reply& reply, std::string_view cmd) {
    if (!std::exchange(reply.isRead, true)) {
        reply.tree = avoip::Json_parse(reply.text);
    }
    const cJSON* const ack = avoip::Json_find(reply.tree.get(), "ack");
    const bool fits = avoip::Json_text(ack, "cmd") == cmd &&
                      avoip::Json_text(ack, "status") == "success" &&
                      avoip::Json_text(ack, "hostid") == kHostId;
    return fits ? ack : nullptr;
}

const cJSON* Replies::recordOf(Reply& reply, std::string_view cmd) {
    const cJSON* const ack = ackOf(reply, cmd);
    if (ack == nullptr) {
        return nullptr;
    }
    for (const cJSON* member : avoip::Json_items(reply.tree.get())) {
        if (member != ack && avoip::Json_isObject(member)) {
            return member;
        }
    }
    return nullptr;
}

Origin Replies::originOfOne(const Line& line, const cJSON* data) {
    const std::string cmd = cmdOf(line);
    Reply* stale = nullptr;
    for (std::size_t i = replies_.size(); i-- > 0;) {
        Reply& reply = replies_[i];
        const cJSON* const ack = ackOf(reply, cmd);
        const cJSON* const record = recordOf(reply, cmd);
        if (reply.taken || ack == nullptr ||
            (!holds(record, data, line.device) && !isRouteless(cmd, record, data))) {
            continue;
        }
        if (i >= before_ && avoip::Json_text(ack, "deviceid") == line.device) {
            reply.taken = true;
            return Origin::kOwn;
        }
        stale = &reply;
    }
    if (stale == nullptr) {
        return Origin::kNobody;
    }
    stale->taken = true;
    return Origin::kStale;
}

Origin Replies::originOfList(const cJSON* rows) {
    // Its own replies first; those from before may be of a crowd, which has read them itself.
    const auto own = replies_.begin() + static_cast<std::ptrdiff_t>(before_);
    std::rotate(replies_.begin(), own, replies_.end());
    const auto older = replies_.end() - static_cast<std::ptrdiff_t>(before_);
    auto end = replies_.begin();
    bool stale = false;
    for (const cJSON* row : avoip::Json_items(rows)) {
        const auto reply = std::ranges::find_if(replies_, [&](Reply& each) {
            return !each.taken && holds(recordOf(each, kListingCmd), row, "");
        });
        if (reply == replies_.end()) {
            return Origin::kNobody;
        }
        reply->taken = true;
        stale = stale || reply >= older;
        end = reply < older ? std::max(end, reply + 1) : end;
    }
    // What came before one that is listed was in the socket, and so read, before it.
    const bool all = std::all_of(replies_.begin(), end, [](Reply& each) {
        const cJSON* const record = recordOf(each, kListingCmd);
        return each.taken || !isListable(avoip::Json_find(each.tree.get(), "ack"), record);
    });
    // The listing has emptied the socket: nothing of this can be read any more.
    replies_.erase(older, replies_.end());
    replies_.erase(replies_.begin(), end);
    if (!all) {
        return Origin::kNobody;
    }
    return stale ? Origin::kStale : Origin::kOwn;
}

Origin Replies::originOf(const Line& line, const std::string& answer) {
    hear();
    const avoip::Json tree = avoip::Json_parse(answer);
    const cJSON* const rows = avoip::Json_find(tree.get(), line.data);
    if (line.device.empty()) {
        return originOfList(rows);
    }
    const auto items = avoip::Json_items(rows);
    const cJSON* const data = items.begin() == items.end() ? nullptr : *items.begin();
    return data == nullptr ? Origin::kNobody : originOfOne(line, data);
}

}  // namespace soak
