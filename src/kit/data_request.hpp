// The generic data request, which serial and IR data share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// The most bytes that one data request carries.
inline constexpr std::size_t kDataRequestBytesMax = 1122;

/// Sends one device raw bytes, as base64 in the request's member "data", and waits for nothing.
/// @param cmd    the request's command text, cut to 31 characters
/// @param count  how many bytes stand at `data`
/// @return 0 when sent (or requests are skipped); -1 otherwise. More than kDataRequestBytesMax
///         bytes are refused with a line that says so.
std::int32_t Protocol_client_sendData(ProtocolClient* client, const DeviceId& device,
                                      const char* cmd, const unsigned char* data,
                                      std::size_t count);
