#include "lib/wire/wire.hpp"

#include <algorithm>

namespace avoip {
namespace {

constexpr std::string_view kEveryGroup[] = {kEveryDevice, kEveryEncoder, kEveryDecoder};
constexpr std::string_view kAll[] = {kEveryDevice};
constexpr std::string_view kAllEncoders[] = {kEveryEncoder};
constexpr std::string_view kAllDecoders[] = {kEveryDecoder};

constexpr std::string_view kDeviceFields[] = {"deviceid", "alias",      "devtype",
                                              "devaddr",  "devnetmask", "devgateway",
                                              "devmac",   "status",     "version"};
constexpr std::string_view kAliasFields[] = {"name"};

// Set are those in the middle.
constexpr std::string_view kEncoderFields[] = {
    "deviceid",     "alias",          "enctype",    "encres",     "fps",
    "ratecontrol",  "bitrate",        "audioinput", "audiocodec", "audiofreq",
    "audiobitrate", "videoresstatus", "hdcpstatus"};
constexpr std::span kSetEncoderFields = std::span(kEncoderFields).subspan(2, 9);
constexpr std::string_view kDecoderFields[] = {
    "deviceid",   "alias",       "luma",           "contrast",  "hue",
    "saturation", "videoformat", "videoresstatus", "hdcpstatus"};
constexpr std::span kSetDecoderFields = std::span(kDecoderFields).subspan(2, 5);

constexpr std::string_view kEdidFields[] = {"edid"};
constexpr std::string_view kNetworkFields[] = {"hdcpserver", "static",     "devaddr",
                                               "devnetmask", "devgateway", "devmac"};
constexpr std::string_view kSerialFields[] = {"baudrate", "databits", "parity", "stopbits"};

// A route is read with both its ends, and set by its other end.
constexpr std::string_view kRouteFields[] = {"rxid", "txid"};
constexpr std::span kSetRouteFields = std::span(kRouteFields).last(1);

// Sent as "wigth", and so it stays.
constexpr std::string_view kTileFields[] = {"txid",   "deviceid", "wigth",  "height", "horcut",
                                            "vercut", "row",      "column", "x",      "y"};

constexpr std::string_view kDataText[] = {"data"};
constexpr std::string_view kEncoderFirmwareTexts[] = {"count", "length"};
constexpr std::string_view kDecoderFirmwareTexts[] = {"count", "length", "data"};

using enum WireExchange;
using enum WireAct;
using enum WireDevices;

constexpr WireRequest kRequests[] = {
    {"config get device", kCollecting, kReads, kAny, kEveryGroup, {"device", kDeviceFields}},
    {"config set alias", kOneWay, kSets, kAny, {}, {"alias", kAliasFields}},
    {"config remove alias", kOneWay, kClears, kAny, {}, {"alias", kAliasFields}},
    {"config get tx params", kSingleReply, kReads, kEncoders, {}, {"txparams", kEncoderFields}},
    {"config set tx params", kOneWay, kSets, kEncoders, {}, {"txparams", kSetEncoderFields}},
    {"config get rx params", kSingleReply, kReads, kDecoders, {}, {"rxparams", kDecoderFields}},
    {"config set rx params", kOneWay, kSets, kDecoders, {}, {"rxparams", kSetDecoderFields}},
    {"edid get", kSingleReply, kReads, kDecoders, {}, {"rxedid", kEdidFields}},
    {"edid set", kOneWay, kSets, kEncoders, kAllEncoders, {"txedid", kEdidFields}},
    {"config get net params", kSingleReply, kReads, kAny, {}, {"netparams", kNetworkFields}},
    {"config set net params", kOneWay, kSets, kAny, {}, {"netparams", kNetworkFields}},
    {"matrix get", kSingleReply, kReads, kDecoders, {}, {"rxsource", kRouteFields}},
    {"matrix set", kOneWay, kSets, kDecoders, kAllDecoders, {"rxsource", kSetRouteFields}},
    {"matrix clear", kOneWay, kClears, kDecoders, {}, {"rxsource", kSetRouteFields}},
    {"serial get params", kSingleReply, kReads, kAny, {}, {"serialparams", kSerialFields}},
    {"serial set params", kOneWay, kSets, kAny, {}, {"serialparams", kSerialFields}},
    {"serial matrix get", kSingleReply, kReads, kAny, {}, {"serialsource", kRouteFields}},
    {"serial matrix set", kOneWay, kSets, kAny, kAll, {"serialsource", kSetRouteFields}},
    {"serial matrix clear", kOneWay, kClears, kAny, kAll, {"serialsource", kSetRouteFields}},
    {"serial data", kOneWay, kOrders, kAny, {}, {}, kDataText},
    {"ir matrix get", kSingleReply, kReads, kDecoders, {}, {"irsource", kRouteFields}},
    {"ir matrix set", kOneWay, kSets, kDecoders, {}, {"irsource", kSetRouteFields}},
    {"ir matrix clear", kOneWay, kClears, kDecoders, {}, {"irsource", kSetRouteFields}},
    {"ir data", kOneWay, kOrders, kAny, {}, {}, kDataText},
    {"vw set", kOneWay, kSets, kDecoders, {}, {"vwsource", kTileFields}},
    {"vw remove", kOneWay, kClears, kDecoders, {}, {"vwsource", kTileFields}},
    {"device showme", kOneWay, kOrders, kAny},
    {"device reboot", kOneWay, kOrders, kAny, kAll},
    {"device factory", kOneWay, kOrders, kAny},
    {"update tx", kSingleReply, kUploads, kEncoders, {}, {}, kEncoderFirmwareTexts},
    {"update rx", kSingleReply, kUploads, kDecoders, {}, {}, kDecoderFirmwareTexts},
};

}  // namespace

std::span<const WireRequest> Wire_requests() {
    return kRequests;
}

const WireRequest* Wire_find(std::string_view cmd) {
    const auto* const found = std::ranges::find(kRequests, cmd, &WireRequest::cmd);
    return found == std::end(kRequests) ? nullptr : found;
}

}  // namespace avoip
