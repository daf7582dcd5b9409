#include "commands/video_wall.hpp"

#include <string>
#include <string_view>

#include "base/output.hpp"
#include "kit/finish.hpp"
#include "kit/scan.hpp"
#include "protocol/exchange.hpp"

namespace {

struct Number {
    const char* key;
    std::int32_t VideoWallTile::*field;
};

/// The numbers as they are traced and sent. "wigth" is spelt so (kept: wigth).
constexpr Number kNumbers[] = {
    {"wigth", &VideoWallTile::width},
    {"height", &VideoWallTile::height},
    {"horcut", &VideoWallTile::horizontalCut},
    {"vercut", &VideoWallTile::verticalCut},
    {"row", &VideoWallTile::row},
    {"column", &VideoWallTile::column},
    {"x", &VideoWallTile::x},
    {"y", &VideoWallTile::y},
};

/// The numbers as they stand in the line: the column before the row (kept: column-before-row).
constexpr std::int32_t VideoWallTile::*kTyped[] = {
    &VideoWallTile::width,       &VideoWallTile::height, &VideoWallTile::horizontalCut,
    &VideoWallTile::verticalCut, &VideoWallTile::column, &VideoWallTile::row,
    &VideoWallTile::x,           &VideoWallTile::y,
};

void trace(const VideoWallTile& tile) {
    for (const auto& [key, field] : kNumbers) {
        Output_print("%s %d\n", key, tile.*field);
    }
    Output_print("txid %s\n", tile.txid.c_str());
    Output_print("deviceid %s\n", tile.deviceid.c_str());
}

}  // namespace

int Command_wallSet(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    scan.literal("vw set ");
    VideoWallTile tile{};
    for (const auto field : kTyped) {
        tile.*field = scan.number();
    }
    tile.txid.set(scan.word());
    const std::string_view rxid = scan.rest();
    tile.deviceid.set(rxid);
    trace(tile);
    return Command_acknowledge(Protocol_client_vw_set(daemonClient, Scan_deviceEntry(rxid), tile),
                               "Protocol_client_vw_set err!", "vw set", answer);
}

int Command_wallRemove(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_deviceEntry(LineScan(line).literal("vw remove ").rest());
    return Command_acknowledge(Protocol_client_vw_remove(daemonClient, device),
                               "Protocol_client_vw_remove err!", "vw remove", answer);
}

std::int32_t Protocol_client_vw_set(ProtocolClient* client, const DeviceId& device,
                                    const VideoWallTile& tile) {
    const auto addTile = [&tile](cJSON* root) {
        cJSON* source = Json_addObject(root, "vwsource");
        Json_addText(source, "txid", tile.txid.c_str());
        Json_addText(source, "deviceid", tile.deviceid.c_str());
        for (const auto& [key, field] : kNumbers) {
            Json_addText(source, key, std::to_string(tile.*field).c_str());
        }
    };
    return Protocol_client_oneWay(
        client, {.cmd = "vw set", .devices = {&device, 1}, .addMembers = addTile});
}

std::int32_t Protocol_client_vw_remove(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client, {.cmd = "vw remove", .devices = {&device, 1}});
}
