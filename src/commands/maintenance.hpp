// Device maintenance: orders that a device carries out without a reply.
#pragma once

#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// "device showme ID!": the device makes itself seen.
int Command_deviceShowme(int socket, const char* line, char** answer);

/// "device all reboot!" and "device reboot ID!". A failure prints the showme line
/// (kept: copied-error-lines).
int Command_deviceAllReboot(int socket, const char* line, char** answer);
int Command_deviceReboot(int socket, const char* line, char** answer);

/// "device factory ID!": back to factory settings.
int Command_deviceFactory(int socket, const char* line, char** answer);

/// One-way requests: 0 when sent, -1 otherwise. The last prints the request first.
std::int32_t Protocol_client_device_showme(ProtocolClient* client, const DeviceId& device);
std::int32_t Protocol_client_device_reboot(ProtocolClient* client, const DeviceId& device);
std::int32_t Protocol_client_device_factory(ProtocolClient* client, const DeviceId& device);
