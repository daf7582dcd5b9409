#include "commands/ir.hpp"

#include "base/output.hpp"
#include "kit/data_request.hpp"
#include "kit/finish.hpp"
#include "kit/routes.hpp"
#include "kit/scan.hpp"
#include "protocol/exchange.hpp"

namespace {

constexpr RouteQuery kQuery = {.cmd = "ir matrix get",
                               .key = "irsource",
                               .objectMissing = "get irsource err!",
                               .members = {{{"rxid", "get rxid err!"}, {"txid", "get txid err!"}}},
                               .resultWhenMissing = -1};

}  // namespace

int Command_irMatrixGet(int /*socket*/, const char* line, char** answer) {
    const std::string_view rxid = LineScan(line).skipWords(3).rest();
    DeviceId txid{};
    if (Protocol_client_ir_matrixGet(daemonClient, Scan_deviceEntry(rxid), txid) < 0) {
        return Command_fail("Protocol_client_ir_matrixGet err!");
    }
    // The encoder under the decoder's label (kept: rxid-label).
    Output_print("Rxid %s\n", txid.c_str());
    return Route_answer(kQuery, rxid, txid, answer);
}

int Command_irMatrixSet(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const std::string_view txid = scan.skipWords(3).word();
    const DeviceId device = Scan_deviceEntry(scan.rest());
    return Command_acknowledge(Protocol_client_ir_matrixSet(daemonClient, device, txid),
                               "Protocol_client_ir_matrixSet err!", "ir matrix set", answer);
}

int Command_irMatrixClear(int /*socket*/, const char* line, char** answer) {
    const std::string_view rxid = LineScan(line).skipWords(3).rest();
    Output_print("deviceid %s\n", Scan_id(rxid).c_str());
    // The alias request's line (kept: copied-error-lines).
    return Command_acknowledge(Protocol_client_ir_matrixClear(daemonClient, Scan_deviceEntry(rxid)),
                               "Protocol_client_setAlias err!", "ir matrix clear", answer);
}

std::int32_t Protocol_client_ir_matrixGet(ProtocolClient* client, const DeviceId& device,
                                          DeviceId& txid) {
    return Route_get(client, device, kQuery, txid);
}

std::int32_t Protocol_client_ir_matrixSet(ProtocolClient* client, const DeviceId& device,
                                          std::string_view txid) {
    return Route_set(client, device, "ir matrix set", "irsource", txid);
}

std::int32_t Protocol_client_ir_matrixClear(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client, {.cmd = "ir matrix clear", .devices = {&device, 1}});
}

std::int32_t Protocol_client_ir_sendData(ProtocolClient* client, const DeviceId& device,
                                         const unsigned char* data, std::size_t count) {
    return Protocol_client_sendData(client, device, "ir data", data, count);
}
