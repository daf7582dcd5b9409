// Video walls: which tile of which wall a decoder shows.
#pragma once

#include <cstdint>

#include "base/fixed_text.hpp"
#include "protocol/client.hpp"

/// One decoder's place in a wall. The numbers are passed on unchecked, in whatever unit the decoder
/// takes them.
struct VideoWallTile {
    std::int32_t width, height;
    std::int32_t horizontalCut, verticalCut;
    std::int32_t row, column;
    std::int32_t x, y;
    FixedText<32> txid;
    FixedText<32> deviceid;
};

/// "vw set WIDTH HEIGHT HORCUT VERCUT COLUMN ROW X Y TXID RXID!". The column stands before the row
/// here and behind it everywhere else (kept: column-before-row).
int Command_wallSet(int socket, const char* line, char** answer);

/// "vw remove RXID!".
int Command_wallRemove(int socket, const char* line, char** answer);

/// One-way requests: 0 when sent, -1 otherwise.
std::int32_t Protocol_client_vw_set(ProtocolClient* client, const DeviceId& device,
                                    const VideoWallTile& tile);
std::int32_t Protocol_client_vw_remove(ProtocolClient* client, const DeviceId& device);
