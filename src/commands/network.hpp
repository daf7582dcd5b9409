// The network settings of a device.
#pragma once

#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"
#include "protocol/records.hpp"

/// "config get net params ID!": answers with the device's settings under the identity as typed,
/// however long. A failure prints the decoder-parameter line and is answered under the set
/// command's name (kept: copied-error-lines; kept: reported-names).
int Command_getNetParams(int socket, const char* line, char** answer);

/// "config set net params ID HDCPSERVER STATIC DEVADDR DEVNETMASK DEVGATEWAY!". The MAC address is
/// sent as an empty text (kept: empty-devmac).
int Command_setNetParams(int socket, const char* line, char** answer);

/// Single-reply request, 3 s: 0 when the reply was read into the record, -1 otherwise.
std::int32_t Protocol_client_getNetParams(ProtocolClient* client, const DeviceId& device,
                                          NetParams& params);

/// One-way request: 0 when sent, -1 otherwise.
std::int32_t Protocol_client_setNetParams(ProtocolClient* client, const DeviceId& device,
                                          const NetParams& params);
