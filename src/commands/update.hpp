// The commands that push a firmware image to encoders or decoders. Each finds the devices by a
// discovery, which waits for a second of silence, and uploads to one after the other.
#pragma once

#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// "update all encoders PATH!": a device whose upload fails prints "update err!" and the next one
/// follows. The last upload's result is the command's, so a failed last one turns the answer into a
/// failure (kept: update-all-differs). Only the last upload waits for the device's reply.
int Command_updateAllEncoders(int socket, const char* line, char** answer);

/// "update all decoders PATH!": the first failed upload ends the command.
int Command_updateAllDecoders(int socket, const char* line, char** answer);

/// "update device encoder ID PATH!" and "update device decoder ID PATH!": the first device found
/// with exactly this identity, which has at most 31 characters. Without one the command fails and
/// prints nothing.
int Command_updateDeviceEncoder(int socket, const char* line, char** answer);
int Command_updateDeviceDecoder(int socket, const char* line, char** answer);

// Requests that carry update data inside the device protocol. No command sends them.

/// "update tx": the document with "count" and "length" as decimal texts, CR LF, then `length` raw
/// bytes of `data`. Single reply, 1 s: 0 when the device acknowledges, -1 otherwise. A datagram of
/// more than 1,500 bytes is refused.
std::int32_t Protocol_client_updateTx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, const void* data, std::int32_t length);

/// "update rx": the same with the data as a text member of the document and nothing behind it; a
/// datagram that cannot be read ends the wait.
/// @param length  what the request states as the data's length
std::int32_t Protocol_client_updateRx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, const char* data, std::int32_t length);
