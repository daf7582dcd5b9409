#include "commands/maintenance.hpp"

#include "kit/finish.hpp"
#include "kit/scan.hpp"
#include "protocol/exchange.hpp"

namespace {

// The reboot commands print it too (kept: copied-error-lines).
constexpr const char* kShowmeError = "Protocol_client_device_showme err!";

}  // namespace

int Command_deviceShowme(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_deviceEntry(LineScan(line).literal("device showme ").rest());
    return Command_acknowledge(Protocol_client_device_showme(daemonClient, device), kShowmeError,
                               "device showme", answer);
}

int Command_deviceAllReboot(int /*socket*/, const char* /*line*/, char** answer) {
    return Command_acknowledge(Protocol_client_device_reboot(daemonClient, Scan_id("All")),
                               kShowmeError, "device all reboot", answer);
}

int Command_deviceReboot(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_deviceEntry(LineScan(line).literal("device reboot ").rest());
    return Command_acknowledge(Protocol_client_device_reboot(daemonClient, device), kShowmeError,
                               "device reboot", answer);
}

int Command_deviceFactory(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_deviceEntry(LineScan(line).literal("device factory ").rest());
    return Command_acknowledge(Protocol_client_device_factory(daemonClient, device),
                               "Protocol_client_device_factory err!", "device factory", answer);
}

std::int32_t Protocol_client_device_showme(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client, {.cmd = "device showme", .devices = {&device, 1}});
}

std::int32_t Protocol_client_device_reboot(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client, {.cmd = "device reboot", .devices = {&device, 1}});
}

std::int32_t Protocol_client_device_factory(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(
        client, {.cmd = "device factory", .devices = {&device, 1}, .traced = true});
}
