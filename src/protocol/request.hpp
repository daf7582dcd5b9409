// Requests to the devices: what a request operation states, and the JSON that goes on the wire.
//
// A request is one UDP datagram with one JSON document, printed without blanks:
//
//   {"request":{"cmd":CMD,"hostid":HOSTID,"device":[{"id":ID}, ...]} MEMBERS}
//
// MEMBERS are a request's own members, beside "request" and after it. The datagram carries the text
// without its terminating zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

#include "base/fixed_text.hpp"
#include "base/json.hpp"
#include "protocol/client.hpp"

/// What every request says: built afresh by each request operation.
struct RequestRecord {
    FixedText<128> cmd;
    FixedText<32> hostid;
    /// Entries in `devices`; 0 or less stands for none.
    std::int32_t deviceCount;
    /// Owned by the caller.
    const DeviceId* devices;
};

/// Builds the request's document. The caller may add members to the root.
JsonTree Protocol_client_buildRequest(const RequestRecord& record);

/// What a request operation states; the exchanges of protocol/exchange.hpp do the rest.
struct Request {
    const char* cmd;
    std::span<const DeviceId> devices;
    /// Adds the request's own members to the root.
    std::function<void(cJSON* root)> addMembers{};
    /// Bytes that follow the document in the datagram.
    std::string_view trailer{};
    /// A longer datagram is refused.
    std::size_t sizeMax = std::numeric_limits<std::size_t>::max();
    /// Print the document, as a line, before it is sent.
    bool traced = false;
};

/// What a request operation ends with at once because of the client's state: 0 when requests are
/// skipped; -1 for a client that was never created, whose creation has been reported, and, after
/// printing "client state(%d) err!", for a state that allows no requests. Nothing when it is
/// carried out.
std::optional<std::int32_t> Protocol_client_resultOfState(const ProtocolClient* client);

enum class Started {
    kSent,     ///< the datagram has left
    kSkipped,  ///< the client skips requests: the operation succeeds at once
    kFailed,   ///< a line has been printed: the operation fails
};

/// What every request operation does first: tests the client's state, refreshes its current
/// address, builds the document and sends it.
/// @param record  receives what was sent, for comparing replies with
/// Prints "pEthName(%s) get ip err!" when the interface is down or has no address, and
/// "pEthName(%s) sendPacket err!" when the datagram cannot leave.
Started Protocol_client_startRequest(ProtocolClient* client, const Request& request,
                                     RequestRecord& record);
