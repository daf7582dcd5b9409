// EDID: the capability block of a display, read from a decoder and given to encoders. Hexadecimal
// text on the console, base64 text between the daemon and the devices.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// The base64 text of an EDID that is read.
using EdidText = FixedText<512>;

/// The most bytes that an EDID which is set may have: 512 characters of base64.
inline constexpr std::size_t kEdidBytesMax = 384;

/// "config get rx edid ID!": answers with the decoder's EDID in upper-case hexadecimal. A reply
/// whose text is no multiple of 4 long ends the daemon (kept: base64-assertion).
int Command_getRxEdid(int socket, const char* line, char** answer);

/// "config set tx edid ID HEXTEXT!" and, for every encoder, "config set all edid HEXTEXT!": two
/// digits a byte, an odd last digit is a byte of its own. Without all of the arguments they fail
/// without a line; more than kEdidBytesMax bytes are refused with one.
int Command_setTxEdid(int socket, const char* line, char** answer);
int Command_setAllEdid(int socket, const char* line, char** answer);

/// Single-reply request, 5 s. A reply whose text does not fit is refused with a line.
std::int32_t Protocol_client_getDecodeEdid(ProtocolClient* client, const DeviceId& device,
                                           EdidText& edid);

/// One-way request: 0 when sent, -1 otherwise.
std::int32_t Protocol_client_setEncodeEdid(ProtocolClient* client, const DeviceId& device,
                                           const char* edid);
