// IR routes: the encoder with which a decoder exchanges infrared signals.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// "ir matrix get RXID!".
int Command_irMatrixGet(int socket, const char* line, char** answer);

/// "ir matrix set TXID RXID!".
int Command_irMatrixSet(int socket, const char* line, char** answer);

/// "ir matrix clear RXID!". A failure prints the alias request's line (kept: copied-error-lines).
int Command_irMatrixClear(int socket, const char* line, char** answer);

/// Single-reply request, 3 s.
std::int32_t Protocol_client_ir_matrixGet(ProtocolClient* client, const DeviceId& device,
                                          DeviceId& txid);

/// One-way requests: 0 when sent, -1 otherwise. No command sends IR data.
std::int32_t Protocol_client_ir_matrixSet(ProtocolClient* client, const DeviceId& device,
                                          std::string_view txid);
std::int32_t Protocol_client_ir_matrixClear(ProtocolClient* client, const DeviceId& device);
std::int32_t Protocol_client_ir_sendData(ProtocolClient* client, const DeviceId& device,
                                         const unsigned char* data, std::size_t count);
