// Serial (RS-232) ports: their settings, their routes between encoders and decoders, and bytes sent
// out of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"
#include "protocol/records.hpp"

/// "serial get params ID!".
int Command_serialGetParams(int socket, const char* line, char** answer);

/// "serial set params ID BAUDRATE DATABITS PARITY STOPBITS!".
int Command_serialSetParams(int socket, const char* line, char** answer);

/// "serial matrix get RXID!".
int Command_serialMatrixGet(int socket, const char* line, char** answer);

/// "serial matrix all set TXID!": routes an encoder to all devices. Two requests.
int Command_serialMatrixAllSet(int socket, const char* line, char** answer);

/// "serial matrix set TXID RXID!": tells each end of the other. Two requests: the second is sent
/// only after the first, and a first one is not undone.
int Command_serialMatrixSet(int socket, const char* line, char** answer);

/// "serial matrix all clear!".
int Command_serialMatrixAllClear(int socket, const char* line, char** answer);

/// "serial matrix clear ID!".
int Command_serialMatrixClear(int socket, const char* line, char** answer);

/// "serial data ID HEXTEXT!": two digits a byte; an odd last digit is dropped and nothing is
/// rejected (kept: lenient-hex).
int Command_serialData(int socket, const char* line, char** answer);

/// Single-reply requests, 3 s. The first prints the request and every datagram it receives.
std::int32_t Protocol_client_serial_getParams(ProtocolClient* client, const DeviceId& device,
                                              SerialParams& params);
std::int32_t Protocol_client_serial_matrixGet(ProtocolClient* client, const DeviceId& device,
                                              DeviceId& txid);

/// One-way requests: 0 when sent, -1 otherwise.
std::int32_t Protocol_client_serial_setParams(ProtocolClient* client, const DeviceId& device,
                                              const SerialParams& params);
std::int32_t Protocol_client_serial_matrixSet(ProtocolClient* client, const DeviceId& device,
                                              std::string_view txid);
std::int32_t Protocol_client_serial_matrixClear(ProtocolClient* client, const DeviceId& device);
std::int32_t Protocol_client_serial_sendData(ProtocolClient* client, const DeviceId& device,
                                             const unsigned char* data, std::size_t count);
