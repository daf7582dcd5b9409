// What the rows of the catalogue share: their arguments, and what is expected of a change.
#pragma once

#include <limits>

#include "lib/catalogue/catalogue.hpp"

namespace avoip::rows {

inline constexpr int kIntMin = std::numeric_limits<int>::min();
inline constexpr int kIntMax = std::numeric_limits<int>::max();

// The daemon's room for an EDID is 384 bytes, for serial data 511 whole bytes.
inline constexpr int kEdidDigits = 768;
inline constexpr int kDataDigits = 1022;

using enum ArgumentKind;

constexpr Argument of(DeviceKind device, Argument argument) {
    argument.device = device;
    return argument;
}

inline constexpr Argument kDevice{"device", kLastIdentity, "identity of the device", "TX-0001"};
inline constexpr Argument kFirstDevice{"device", kIdentity, "identity of the device", "TX-0001"};
inline constexpr Argument kEncoder =
    of(DeviceKind::kEncoder, {"encoder", kLastIdentity, "identity of the encoder", "TX-0001"});
inline constexpr Argument kFirstEncoder =
    of(DeviceKind::kEncoder, {"encoder", kIdentity, "identity of the encoder", "TX-0001"});
inline constexpr Argument kDecoder =
    of(DeviceKind::kDecoder, {"decoder", kLastIdentity, "identity of the decoder", "RX-0001"});
inline constexpr Argument kFirstDecoder =
    of(DeviceKind::kDecoder, {"decoder", kIdentity, "identity of the decoder", "RX-0001"});
inline constexpr Argument kEdid{"edid", kHex, "the EDID", "00FFFFFFFFFFFF00", 0, kEdidDigits};
inline constexpr Argument kImage{"image", kPath, "firmware image on the daemon's machine",
                                 "/srv/firmware/image.bin"};

inline constexpr Argument kDeviceOnly[] = {kDevice};
inline constexpr Argument kEncoderOnly[] = {kEncoder};
inline constexpr Argument kDecoderOnly[] = {kDecoder};
inline constexpr Argument kRoute[] = {kFirstEncoder, kDecoder};
inline constexpr Argument kImageOnly[] = {kImage};
inline constexpr Argument kEncoderImage[] = {kFirstEncoder, kImage};
inline constexpr Argument kDecoderImage[] = {kFirstDecoder, kImage};
inline constexpr Argument kEdidOnly[] = {kEdid};
inline constexpr Argument kEncoderEdid[] = {kFirstEncoder, kEdid};

inline constexpr Argument kAliasSet[] = {
    kFirstDevice,
    {"alias", kAlias, "the name, blanks allowed", "Meeting room 2"},
};

inline constexpr Argument kEncoderSet[] = {
    kFirstEncoder,
    {"enctype", kChoice, "video codec", "H264", 0, 0, "H264 H265"},
    {"encres", kWord, "video resolution, as the encoder calls it", "1920x1080"},
    {"fps", kNumber, "frames a second", "30", 1, 30},
    {"ratecontrol", kChoice, "rate control", "CBR", 0, 0, "CBR VBR"},
    {"bitrate", kNumber, "video bit rate", "4000", 32, 20480},
    {"audioinput", kWord, "audio input, as the encoder calls it", "HDMI"},
    {"audiocodec", kWord, "audio codec, as the encoder calls it", "AAC"},
    {"audiofreq", kWord, "audio sample rate, as the encoder calls it", "48000"},
    {"audiobitrate", kWord, "audio bit rate, as the encoder calls it", "128"},
};

inline constexpr Argument kDecoderSet[] = {
    kFirstDecoder,
    {"luma", kNumber, "brightness", "50", 0, 100},
    {"contrast", kNumber, "contrast", "50", 0, 100},
    {"hue", kNumber, "hue", "50", 0, 100},
    {"saturation", kNumber, "saturation", "50", 0, 100},
    {"videoformat", kNumber, "video format", "0", 0, 2},
};

inline constexpr Argument kNetSet[] = {
    kFirstDevice,
    {"hdcpserver", kWord, "HDCP server, as the device calls it", "0"},
    {"static", kWord, "static address, as the device calls it", "1"},
    {"address", kAddress, "IPv4 address", "10.77.1.7"},
    {"netmask", kAddress, "IPv4 netmask", "255.255.0.0"},
    {"gateway", kAddress, "IPv4 gateway", "10.77.0.1"},
};

inline constexpr Argument kSerialSet[] = {
    kFirstDevice,
    {"baudrate", kNumber, "baud rate", "115200", 1, 100'000'000},
    {"databits", kNumber, "data bits", "8", 5, 9},
    {"parity", kWord, "parity, as the device calls it", "none"},
    {"stopbits", kWord, "stop bits, as the device calls it", "1"},
};

inline constexpr Argument kSerialData[] = {
    kFirstDevice,
    {"data", kHex, "the bytes to send", "48656C6C6F", 0, kDataDigits},
};

// Column before row: so does the console.
inline constexpr Argument kWallSet[] = {
    {"width", kNumber, "width of the whole wall", "3840", kIntMin, kIntMax},
    {"height", kNumber, "height of the whole wall", "2160", kIntMin, kIntMax},
    {"horcut", kNumber, "horizontal cut", "0", kIntMin, kIntMax},
    {"vercut", kNumber, "vertical cut", "0", kIntMin, kIntMax},
    {"column", kNumber, "column of this decoder's tile", "1", kIntMin, kIntMax},
    {"row", kNumber, "row of this decoder's tile", "0", kIntMin, kIntMax},
    {"x", kNumber, "horizontal offset", "1920", kIntMin, kIntMax},
    {"y", kNumber, "vertical offset", "0", kIntMin, kIntMax},
    kFirstEncoder,
    kDecoder,
};

// What is asked back after a change, and what it must then say: a member of what the other command
// reads, and the argument whose value it must have.
inline constexpr Expectation kAliasIs[] = {{"alias", 1}};
inline constexpr Expectation kAliasIsGone[] = {{"alias", kNothing}};
inline constexpr Expectation kEncoderIs[] = {
    {"enctype", 1},    {"encres", 2},     {"fps", 3},       {"ratecontrol", 4},  {"bitrate", 5},
    {"audioinput", 6}, {"audiocodec", 7}, {"audiofreq", 8}, {"audiobitrate", 9},
};
inline constexpr Expectation kDecoderIs[] = {
    {"luma", 1}, {"contrast", 2}, {"hue", 3}, {"saturation", 4}, {"videoformat", 5},
};
inline constexpr Expectation kNetIs[] = {
    {"hdcpserver", 1}, {"static", 2}, {"devaddr", 3}, {"devnetmask", 4}, {"devgateway", 5},
};
inline constexpr Expectation kSerialIs[] = {
    {"baudrate", 1},
    {"databits", 2},
    {"parity", 3},
    {"stopbits", 4},
};
inline constexpr Expectation kRouteIs[] = {{"txid", 0}};
inline constexpr Expectation kRouteIsGone[] = {{"txid", kNothing}};

}  // namespace avoip::rows
