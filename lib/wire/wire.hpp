// The device protocol as data: where it travels, which requests there are, and what they carry. For
// whoever plays, reads or checks devices; the daemon itself builds its requests without it, and the
// tests compare bytes without it.
//
//   request = {"request":{"cmd":CMD,"hostid":HOSTID,"device":[{"id":ID}]} {,MEMBER} }
//   reply   = {"ack":{"cmd":CMD,"status":STATUS,"hostid":HOSTID,"deviceid":ID} {,RECORD} }
//   record  = KEY:{FIELD:TEXT {,FIELD:TEXT} }
//
// Every value is a text. docs/device-protocol.md has the meaning of each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace avoip {

/// Requests go to this group and port, replies to this port of whoever asked.
inline constexpr std::string_view kDeviceGroup = "239.255.255.250";
inline constexpr std::uint16_t kRequestPort = 8002;
inline constexpr std::uint16_t kReplyPort = 8003;

/// Firmware images go to this TCP port of a device.
inline constexpr std::uint16_t kUploadPort = 5888;

/// The longest reply that is read whole, in bytes, and the longest identity or value of a record.
/// An EDID is longer.
inline constexpr std::size_t kReplyMax = 1500;
inline constexpr std::size_t kValueMax = 31;

/// The words that address several devices at once.
inline constexpr std::string_view kEveryDevice = "All";
inline constexpr std::string_view kEveryEncoder = "All_TX";
inline constexpr std::string_view kEveryDecoder = "All_RX";

/// The members of a reply's "ack", in the order in which devices are shown to send them.
inline constexpr std::string_view kAckFields[] = {"cmd", "status", "hostid", "deviceid"};

/// What a request waits for.
enum class WireExchange : std::uint8_t {
    kOneWay,       ///< nothing
    kSingleReply,  ///< the reply of one device
    kCollecting    ///< the replies of many, until nobody speaks any more
};

/// What a request is for, which is where its record is.
enum class WireAct : std::uint8_t {
    kReads,    ///< the reply carries the record
    kSets,     ///< the request carries the record, which the device takes over
    kClears,   ///< nobody carries the record, which the device empties
    kOrders,   ///< there is none: the device does something, with the request's texts if it has any
    kUploads,  ///< there is none: the request's texts, and bytes behind the document, are firmware
};

/// Which kind of device a request is made for.
enum class WireDevices : std::uint8_t { kAny, kEncoders, kDecoders };

/// An object of a document: its key, and its fields in the order in which they are sent.
struct WireRecord {
    std::string_view key;
    std::span<const std::string_view> fields;
};

struct WireRequest {
    std::string_view cmd;
    WireExchange exchange;
    WireAct act;
    WireDevices devices;
    /// The words that commands address it to of their own, beside the identity of one device. Who
    /// types a word in a device's place sends what nobody replies to to any group.
    std::span<const std::string_view> groups{};
    WireRecord record{};
    /// The keys of the texts beside "request", in their order.
    std::span<const std::string_view> texts{};
};

/// All requests, those that belong together side by side.
std::span<const WireRequest> Wire_requests();

/// The request with this "cmd"; null when there is none.
const WireRequest* Wire_find(std::string_view cmd);

}  // namespace avoip
