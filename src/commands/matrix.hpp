// The video matrix: which encoder's video each decoder shows.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// "matrix get RXID!": asks one decoder for its encoder. A reply without the route is answered with
/// an empty one (kept: routeless-reply).
int Command_matrixGet(int socket, const char* line, char** answer);

/// "matrix all set TXID!": routes an encoder to every decoder.
int Command_matrixAllSet(int socket, const char* line, char** answer);

/// "matrix set TXID RXID!": the decoder is the rest of the line, blanks included. Answers as
/// "matrix sets" (kept: copied-names).
int Command_matrixSet(int socket, const char* line, char** answer);

/// "matrix clear RXID!".
int Command_matrixClear(int socket, const char* line, char** answer);

/// Single-reply request, 3 s. A matching reply without the route gives 0 and leaves `txid`.
std::int32_t Protocol_client_matrix_getDecode(ProtocolClient* client, const DeviceId& device,
                                              DeviceId& txid);

/// One-way requests: 0 when sent, -1 otherwise. Clearing prints the request first.
std::int32_t Protocol_client_matrix_setDecode(ProtocolClient* client, const DeviceId& device,
                                              std::string_view txid);
std::int32_t Protocol_client_matrix_clearDecode(ProtocolClient* client, const DeviceId& device);
