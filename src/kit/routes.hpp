// What the video, serial and IR matrix share: a route is the encoder ("txid") that a device takes
// its signal from, asked for and answered in an object of the matrix's own.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"
#include "protocol/reply.hpp"

/// How one matrix asks for a route and reads the reply {KEY:{"rxid":RXID,"txid":TXID}}.
struct RouteQuery {
    const char* cmd;
    /// The reply's and the answer's key.
    const char* key;
    /// The line that says that a reply lacks the object.
    const char* objectMissing;
    /// The object's two ends, the receiving one first, each with the line that says it is missing.
    std::array<MemberName, 2> members;
    /// What the request returns for such a reply. 0 leaves the parsed reply unreleased as well.
    std::int32_t resultWhenMissing;
};

/// The single-reply request, 3 s.
/// @param txid  receives the encoder; untouched when the reply has none or requests are skipped
/// @return 0; -1 without a matching reply; the query's own result for a reply that lacks the route
std::int32_t Route_get(ProtocolClient* client, const DeviceId& device, const RouteQuery& query,
                       DeviceId& txid);

/// The one-way request that gives the device its source, as {KEY:{"txid":TXID}}.
/// @return 0 when sent, -1 otherwise
std::int32_t Route_set(ProtocolClient* client, const DeviceId& device, const char* cmd,
                       const char* key, std::string_view txid);

/// Stores the success answer of a get: an array of one object with both ends, the receiving one as
/// typed (31 characters of it). @return 0
int Route_answer(const RouteQuery& query, std::string_view rxid, const DeviceId& txid,
                 char** answer);
