#include "commands/matrix.hpp"

#include "base/output.hpp"
#include "kit/finish.hpp"
#include "kit/routes.hpp"
#include "kit/scan.hpp"
#include "protocol/exchange.hpp"

namespace {

// A reply without the route still succeeds (kept: routeless-reply).
constexpr RouteQuery kQuery = {
    .cmd = "matrix get",
    .key = "rxsource",
    .objectMissing = "get rxsource err!",
    .members = {{{"rxid", "get deviceid err!"}, {"txid", "get deviceid err!"}}},
    .resultWhenMissing = 0};

constexpr const char* kSetError = "Protocol_client_matrix_setDecode err!";

}  // namespace

int Command_matrixGet(int /*socket*/, const char* line, char** answer) {
    const std::string_view rxid = LineScan(line).skipWords(2).rest();
    DeviceId txid{};
    if (Protocol_client_matrix_getDecode(daemonClient, Scan_deviceEntry(rxid), txid) < 0) {
        return Command_fail("Protocol_client_matrix_getDecode err!");
    }
    Output_print("Encoderid %s\n", txid.c_str());
    return Route_answer(kQuery, rxid, txid, answer);
}

int Command_matrixAllSet(int /*socket*/, const char* line, char** answer) {
    const DeviceId txid = Scan_id(LineScan(line).skipWords(3).rest());
    Output_print("Encoderid %s\n", txid.c_str());
    return Command_acknowledge(
        Protocol_client_matrix_setDecode(daemonClient, Scan_id("All_RX"), txid.view()), kSetError,
        "matrix all set", answer);
}

int Command_matrixSet(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const std::string_view txid = scan.skipWords(2).word();
    const DeviceId device = Scan_deviceEntry(scan.rest());
    // Not the command's own name (kept: copied-names).
    return Command_acknowledge(Protocol_client_matrix_setDecode(daemonClient, device, txid),
                               kSetError, "matrix sets", answer);
}

int Command_matrixClear(int /*socket*/, const char* line, char** answer) {
    const std::string_view rxid = LineScan(line).skipWords(2).rest();
    Output_print("deviceid %s\n", Scan_id(rxid).c_str());
    return Command_acknowledge(
        Protocol_client_matrix_clearDecode(daemonClient, Scan_deviceEntry(rxid)),
        "Protocol_client_matrix_clearDecode err!", "matrix clear", answer);
}

std::int32_t Protocol_client_matrix_getDecode(ProtocolClient* client, const DeviceId& device,
                                              DeviceId& txid) {
    return Route_get(client, device, kQuery, txid);
}

std::int32_t Protocol_client_matrix_setDecode(ProtocolClient* client, const DeviceId& device,
                                              std::string_view txid) {
    return Route_set(client, device, "matrix set", "rxsource", txid);
}

std::int32_t Protocol_client_matrix_clearDecode(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client,
                                  {.cmd = "matrix clear", .devices = {&device, 1}, .traced = true});
}
