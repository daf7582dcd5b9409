// The requests of the device protocol, as a device carries them out.
//
// Which requests there are, for which kind of device and with what record, is known from lib/wire.
// A request that reads something is answered; a request that only sets or orders something is not.
// A device ignores a request that its kind does not know (encoder parameters asked of a decoder)
// and one that lacks its data. The one liberty: an encoder answers "edid get" too, with the EDID
// that it was given, so that what was set can be read back.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "avoipsim/device.hpp"
#include "lib/base/json.hpp"
#include "lib/wire/wire.hpp"

namespace avoip::sim {

struct Request {
    std::string cmd;
    const WireRequest* wire = nullptr;  ///< Null for a "cmd" that no device knows.
    std::string hostid;
    std::vector<std::string> ids;
    Json root;  ///< The whole document, for the data beside "request".
};

/// Nothing when the datagram is not JSON or holds no "request" with a "cmd".
std::optional<Request> Request_parse(std::string_view datagram);

/// Whether the device list names the device: its identity, "All", or "All_TX" or "All_RX".
bool Request_isFor(const Request& request, const Device& device);

/// What came of a request at one device.
struct Outcome {
    bool done = true;      ///< False: the device ignored the request.
    bool reboots = false;  ///< The device is to be silent for a while.
    Json reply;            ///< Null where the request has no reply.
    Json event;            ///< A line for the log where something showed on the device, else null.
};

Outcome Request_carryOut(const Request& request, Device& device);

}  // namespace avoip::sim
