#include "dispatch/command_table.hpp"

#include <algorithm>

#include "commands/inventory.hpp"

namespace {

// The order is meaning: where texts share a beginning, the longer one stands first. Some reported
// names differ from their texts on purpose ("reported-names" in docs/kept-behaviours.md).
constexpr CommandRow kCommandTable[] = {
    {"config get devices!", kWholeLine, Command_getDevices, "config get devices"},
    {"config get encoders!", kWholeLine, Command_getEncoders, "config get encoders"},
    {"config get decoders!", kWholeLine, Command_getDecoders, "config get decoders"},
    {"config set device alias", 23, nullptr, "config set device alias"},
    {"config remove device alias", 26, nullptr, "config remove device alias"},
    {"config get tx params", 20, nullptr, "config get tx params"},
    {"config set tx params", 20, nullptr, "config set tx params"},
    {"config get rx params", 20, nullptr, "config get rx params"},
    {"config set rx params", 20, nullptr, "config set rx params"},
    {"config get net params", 21, nullptr, "config set net params"},
    {"config set net params", 20, nullptr, "config set net params"},
    {"config get rx edid", 18, nullptr, "config get rx edid"},
    {"config set tx edid", 18, nullptr, "config set tx edid"},
    {"config set all edid", 19, nullptr, "config set all edid"},
    {"matrix get", 10, nullptr, "matrix get"},
    {"matrix all set", 14, nullptr, "matrix all set"},
    {"matrix set", 10, nullptr, "matrix set"},
    {"matrix clear", 12, nullptr, "matrix clear"},
    {"serial get params", 17, nullptr, "serial get params"},
    {"serial set params", 17, nullptr, "serial set params"},
    {"serial matrix get", 17, nullptr, "serial matrix get"},
    {"serial matrix all set", 21, nullptr, "serial matrix all set"},
    {"serial matrix set", 17, nullptr, "serial matrix set"},
    {"serial matrix all clear", 23, nullptr, "serial matrix clear"},
    {"serial matrix clear", 19, nullptr, "serial matrix clear"},
    {"serial data", 11, nullptr, "serial data"},
    {"ir matrix get", 13, nullptr, "ir matrix get"},
    {"ir matrix set", 13, nullptr, "ir matrix set"},
    {"ir matrix clear", 15, nullptr, "ir matrix clear"},
    {"vw add get", 10, nullptr, "vw add "},
    {"vw set", 6, nullptr, "vw set"},
    {"vw remove", 9, nullptr, "vw remove"},
    {"update all encoders", 19, nullptr, "update all encoders"},
    {"update device encoder", 21, nullptr, "update device encoder"},
    {"update all decoders", 19, nullptr, "update all decoders"},
    {"update device decoder", 21, nullptr, "update device decoder"},
    {"device showme", 13, nullptr, "device showme"},
    {"device all reboot", 17, nullptr, "device all reboot"},
    {"device reboot", 13, nullptr, "device reboot"},
    {"device factory", 14, nullptr, "device factory"},
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
