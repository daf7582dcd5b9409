// Encoder and decoder parameters: the encoding of an encoder, the picture settings of a decoder.
#pragma once

#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"
#include "protocol/records.hpp"

/// "config get tx params ID!" and "config get rx params ID!": ask one device and answer with its
/// parameters.
int Command_getTxParams(int socket, const char* line, char** answer);
int Command_getRxParams(int socket, const char* line, char** answer);

/// "config set tx params ID ENCTYPE ENCRES FPS RATECONTROL BITRATE AUDIOINPUT AUDIOCODEC AUDIOFREQ
/// AUDIOBITRATE!". Fails without a line for an enctype other than H264 or H265, a ratecontrol other
/// than CBR or VBR, fps outside 1 to 30, or a bitrate outside 32 to 20480.
int Command_setTxParams(int socket, const char* line, char** answer);

/// "config set rx params ID LUMA CONTRAST HUE SATURATION VIDEOFORMAT!". Fails without a line for a
/// picture value above 100 or a videoformat above 2. The success answer carries the encoder
/// command's name (kept: copied-names).
int Command_setRxParams(int socket, const char* line, char** answer);

/// Single-reply requests, 3 s: 0 when the reply was read into the record, -1 otherwise.
std::int32_t Protocol_client_getEncodeParams(ProtocolClient* client, const DeviceId& device,
                                             EncodeParams& params);
std::int32_t Protocol_client_getDecodeParams(ProtocolClient* client, const DeviceId& device,
                                             DecodeParams& params);

/// One-way requests: 0 when sent, -1 otherwise.
std::int32_t Protocol_client_setEncodeParams(ProtocolClient* client, const DeviceId& device,
                                             const EncodeParams& params);
std::int32_t Protocol_client_setDecodeParams(ProtocolClient* client, const DeviceId& device,
                                             const DecodeParams& params);
