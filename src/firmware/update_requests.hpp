// Requests that carry update data inside the device protocol. No command sends them.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// "update tx": the document with "count" and "length" as decimal texts, CR LF, then the raw bytes
/// of `data`. Single reply, 1 s: 0 when the device acknowledges, -1 otherwise. A datagram of more
/// than 1,500 bytes is refused.
std::int32_t Protocol_client_updateTx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, std::string_view data);

/// "update rx": the same with the data as a text member of the document and nothing behind it; a
/// datagram that cannot be read ends the wait.
/// @param length  what the request states as the data's length
std::int32_t Protocol_client_updateRx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, const char* data, std::int32_t length);
