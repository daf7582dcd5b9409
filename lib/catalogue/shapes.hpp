// What success answers hold beside their "ack": the objects of each kind, member by member.
#pragma once

#include "lib/catalogue/catalogue.hpp"

namespace avoip::shapes {

inline constexpr Member kDeviceMembers[] = {
    {"hostid", "identity"},    {"devtype", "type"},       {"alias", "alias"},
    {"devaddr", "address"},    {"devnetmask", "netmask"}, {"devgateway", "gateway"},
    {"devmac", "MAC address"}, {"status", "status"},      {"version", "version"},
};
inline constexpr Member kEncoderMembers[] = {
    {"alias", "alias"},
    {"deviceid", "identity"},
    {"enctype", "video codec"},
    {"encres", "video resolution"},
    {"fps", "frames a second"},
    {"ratecontrol", "rate control"},
    {"bitrate", "video bit rate"},
    {"audioinput", "audio input"},
    {"audiocodec", "audio codec"},
    {"audiofreq", "audio sample rate"},
    {"audiobitrate", "audio bit rate"},
    {"videoresstatus", "video status"},
    {"hdcpstatus", "HDCP status"},
};
inline constexpr Member kDecoderMembers[] = {
    {"alias", "alias"},
    {"deviceid", "identity"},
    {"luma", "brightness"},
    {"contrast", "contrast"},
    {"hue", "hue"},
    {"saturation", "saturation"},
    {"videoformat", "video format"},
    {"videoresstatus", "video status"},
    {"hdcpstatus", "HDCP status"},
};
inline constexpr Member kNetMembers[] = {
    {"deviceid", "identity"},  {"hdcpserver", "HDCP server"}, {"static", "static address"},
    {"devaddr", "address"},    {"devnetmask", "netmask"},     {"devgateway", "gateway"},
    {"devmac", "MAC address"},
};
inline constexpr Member kEdidMembers[] = {{"deviceid", "identity"}, {"edid", "EDID"}};
inline constexpr Member kRouteMembers[] = {{"rxid", "decoder"}, {"txid", "encoder"}};
inline constexpr Member kSerialMembers[] = {
    {"deviceid", "identity"}, {"baudrate", "baud rate"}, {"databits", "data bits"},
    {"parity", "parity"},     {"stopbits", "stop bits"},
};

inline constexpr Shape kDeviceList{"devicelist", kDeviceMembers, "hostid"};
inline constexpr Shape kEncoderParams{"txparamsinfo", kEncoderMembers, "deviceid"};
inline constexpr Shape kDecoderParams{"rxparamsinfo", kDecoderMembers, "deviceid"};
inline constexpr Shape kNetParams{"netparamsinfo", kNetMembers, "deviceid"};
inline constexpr Shape kEdid{"rxedid", kEdidMembers, "deviceid"};
inline constexpr Shape kVideoRoute{"rxsource", kRouteMembers, "rxid"};
inline constexpr Shape kSerialRoute{"serialsource", kRouteMembers, "rxid"};
inline constexpr Shape kIrRoute{"irsource", kRouteMembers, "rxid"};
inline constexpr Shape kSerialParams{"serialparams", kSerialMembers, "deviceid"};

}  // namespace avoip::shapes
