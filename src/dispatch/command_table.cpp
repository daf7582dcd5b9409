#include "dispatch/command_table.hpp"

#include <algorithm>

#include "commands/aliases.hpp"
#include "commands/edid.hpp"
#include "commands/inventory.hpp"
#include "commands/ir.hpp"
#include "commands/maintenance.hpp"
#include "commands/matrix.hpp"
#include "commands/network.hpp"
#include "commands/parameters.hpp"
#include "commands/serial.hpp"
#include "commands/update.hpp"
#include "commands/video_wall.hpp"

namespace {

// The order is meaning: where texts share a beginning, the longer one stands first. Some reported
// names differ from their texts (kept: reported-names).
constexpr CommandRow kCommandTable[] = {
    {"config get devices!", kWholeLine, Command_getDevices, "config get devices"},
    {"config get encoders!", kWholeLine, Command_getEncoders, "config get encoders"},
    {"config get decoders!", kWholeLine, Command_getDecoders, "config get decoders"},
    {"config set device alias", 23, Command_setDeviceAlias, "config set device alias"},
    {"config remove device alias", 26, Command_removeDeviceAlias, "config remove device alias"},
    {"config get tx params", 20, Command_getTxParams, "config get tx params"},
    {"config set tx params", 20, Command_setTxParams, "config set tx params"},
    {"config get rx params", 20, Command_getRxParams, "config get rx params"},
    {"config set rx params", 20, Command_setRxParams, "config set rx params"},
    {"config get net params", 21, Command_getNetParams, "config set net params"},
    {"config set net params", 20, Command_setNetParams, "config set net params"},
    {"config get rx edid", 18, Command_getRxEdid, "config get rx edid"},
    {"config set tx edid", 18, Command_setTxEdid, "config set tx edid"},
    {"config set all edid", 19, Command_setAllEdid, "config set all edid"},
    {"matrix get", 10, Command_matrixGet, "matrix get"},
    {"matrix all set", 14, Command_matrixAllSet, "matrix all set"},
    {"matrix set", 10, Command_matrixSet, "matrix set"},
    {"matrix clear", 12, Command_matrixClear, "matrix clear"},
    {"serial get params", 17, Command_serialGetParams, "serial get params"},
    {"serial set params", 17, Command_serialSetParams, "serial set params"},
    {"serial matrix get", 17, Command_serialMatrixGet, "serial matrix get"},
    {"serial matrix all set", 21, Command_serialMatrixAllSet, "serial matrix all set"},
    {"serial matrix set", 17, Command_serialMatrixSet, "serial matrix set"},
    {"serial matrix all clear", 23, Command_serialMatrixAllClear, "serial matrix clear"},
    {"serial matrix clear", 19, Command_serialMatrixClear, "serial matrix clear"},
    {"serial data", 11, Command_serialData, "serial data"},
    {"ir matrix get", 13, Command_irMatrixGet, "ir matrix get"},
    {"ir matrix set", 13, Command_irMatrixSet, "ir matrix set"},
    {"ir matrix clear", 15, Command_irMatrixClear, "ir matrix clear"},
    {"vw add get", 10, nullptr, "vw add "},
    {"vw set", 6, Command_wallSet, "vw set"},
    {"vw remove", 9, Command_wallRemove, "vw remove"},
    {"update all encoders", 19, Command_updateAllEncoders, "update all encoders"},
    {"update device encoder", 21, Command_updateDeviceEncoder, "update device encoder"},
    {"update all decoders", 19, Command_updateAllDecoders, "update all decoders"},
    {"update device decoder", 21, Command_updateDeviceDecoder, "update device decoder"},
    {"device showme", 13, Command_deviceShowme, "device showme"},
    {"device all reboot", 17, Command_deviceAllReboot, "device all reboot"},
    {"device reboot", 13, Command_deviceReboot, "device reboot"},
    {"device factory", 14, Command_deviceFactory, "device factory"},
};

bool matches(const CommandRow& row, std::string_view line) {
    return row.compared == kWholeLine ? line == row.text
                                      : line.starts_with(row.text.substr(0, row.compared));
}

}  // namespace

const CommandRow* CommandTable_find(std::string_view line) {
    const auto* row = std::find_if(std::begin(kCommandTable), std::end(kCommandTable),
                                   [line](const CommandRow& each) { return matches(each, line); });
    return row != std::end(kCommandTable) ? row : nullptr;
}

std::span<const CommandRow> CommandTable_rows() {
    return kCommandTable;
}
