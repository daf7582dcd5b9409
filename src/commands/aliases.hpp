// Device aliases: free-text names that the devices store themselves.
#pragma once

#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// "config set device alias ID ALIAS!": the alias is everything behind the identity, blanks
/// included. One of 32 characters or more runs on into the identity (kept: alias-runs-on).
int Command_setDeviceAlias(int socket, const char* line, char** answer);

/// "config remove device alias ID!".
int Command_removeDeviceAlias(int socket, const char* line, char** answer);

/// One-way requests; 0 when sent, -1 otherwise.
std::int32_t Protocol_client_setAlias(ProtocolClient* client, const DeviceId& device,
                                      const char* alias);
std::int32_t Protocol_client_removeAlias(ProtocolClient* client, const DeviceId& device);
