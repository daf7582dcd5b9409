#include "commands/serial.hpp"

#include <array>
#include <cctype>
#include <cstddef>

#include "base/output.hpp"
#include "kit/data_request.hpp"
#include "kit/finish.hpp"
#include "kit/record_requests.hpp"
#include "kit/routes.hpp"
#include "kit/scan.hpp"

namespace {

constexpr std::size_t kHexDigitsMax = 1023;

constexpr RecordMember<SerialParams> kMembers[] = {
    {"baudrate", &SerialParams::baudrate},
    {"databits", &SerialParams::databits},
    {"parity", &SerialParams::parity},
    {"stopbits", &SerialParams::stopbits},
};

// The messages are the video matrix's (kept: copied-missing-messages).
constexpr RouteQuery kQuery = {
    .cmd = "serial matrix get",
    .key = "serialsource",
    .objectMissing = "get rxsource err!",
    .members = {{{"rxid", "get deviceid err!"}, {"txid", "get deviceid err!"}}},
    .resultWhenMissing = -1};

/// Tells `second` of `first` and then, if that could be sent, `first` of `second`.
std::int32_t routeBothEnds(std::string_view first, std::string_view second) {
    const std::int32_t result =
        Protocol_client_serial_matrixSet(daemonClient, Scan_deviceEntry(second), first);
    if (result < 0) {
        return result;
    }
    return Protocol_client_serial_matrixSet(daemonClient, Scan_deviceEntry(first), second);
}

std::int32_t clearRoute(const DeviceId& device) {
    return Protocol_client_serial_matrixClear(daemonClient, device);
}

/// A digit's value; what any other character gives follows from the same rule (kept: lenient-hex).
unsigned digitValue(char digit) {
    const auto code = static_cast<unsigned>(std::toupper(static_cast<unsigned char>(digit)));
    const unsigned decimal = (code - 48) & 0xFFU;
    return decimal < 10 ? decimal : (code - 55) & 0xFFU;
}

}  // namespace

int Command_serialGetParams(int /*socket*/, const char* line, char** answer) {
    const std::string_view id = LineScan(line).skipWords(3).rest();
    SerialParams params{};
    if (Protocol_client_serial_getParams(daemonClient, Scan_deviceEntry(id), params) < 0) {
        return Command_fail("Protocol_client_serial_getParams err!");
    }
    const JsonTree root = Answer_success("serial get params");
    cJSON* info = Answer_addSingle(root, "serialparams");
    Json_addText(info, "deviceid", Scan_id(id).c_str());
    Record_addMembers<SerialParams>(info, params, kMembers);
    Answer_store(root, *answer);
    Output_print("out: %s\n", *answer);
    return 0;
}

int Command_serialSetParams(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const DeviceId device = Scan_deviceEntry(scan.skipWords(3).word());
    SerialParams params{};
    Record_scan<SerialParams>(scan, params, kMembers);
    return Command_acknowledge(Protocol_client_serial_setParams(daemonClient, device, params),
                               "Protocol_client_serial_setParams err!", "serial set params",
                               answer);
}

int Command_serialMatrixGet(int /*socket*/, const char* line, char** answer) {
    const std::string_view rxid = LineScan(line).skipWords(3).rest();
    DeviceId txid{};
    if (Protocol_client_serial_matrixGet(daemonClient, Scan_deviceEntry(rxid), txid) < 0) {
        return Command_fail("Protocol_client_serial_matrixGet err!");
    }
    // The encoder under the decoder's label (kept: rxid-label).
    Output_print("Rxid %s\n", txid.c_str());
    return Route_answer(kQuery, rxid, txid, answer);
}

int Command_serialMatrixAllSet(int /*socket*/, const char* line, char** answer) {
    const std::string_view txid = LineScan(line).literal("serial matrix all set ").rest();
    return Command_acknowledge(routeBothEnds(txid, "All"), "Protocol_client_serial_matrixSet err!",
                               "serial matrix all set", answer);
}

int Command_serialMatrixSet(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const std::string_view txid = scan.skipWords(3).word();
    const std::string_view rxid = scan.rest();
    return Command_acknowledge(routeBothEnds(txid, rxid), "Protocol_client_serial_matrixSet err!",
                               "serial matrix set", answer);
}

int Command_serialMatrixAllClear(int /*socket*/, const char* /*line*/, char** answer) {
    return Command_acknowledge(clearRoute(Scan_id("All")),
                               "Protocol_client_serial_matrixClear err!", "serial matrix all clear",
                               answer);
}

int Command_serialMatrixClear(int /*socket*/, const char* line, char** answer) {
    const std::string_view id = LineScan(line).skipWords(3).rest();
    Output_print("deviceid %s\n", Scan_id(id).c_str());
    return Command_acknowledge(clearRoute(Scan_deviceEntry(id)),
                               "Protocol_client_serial_matrixClear err!", "serial matrix clear",
                               answer);
}

int Command_serialData(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const DeviceId device = Scan_deviceEntry(scan.skipWords(2).word());
    const std::string_view hex = scan.rest().substr(0, kHexDigitsMax);
    std::array<unsigned char, kHexDigitsMax / 2> bytes;
    const std::size_t count = hex.size() / 2;
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] =
            static_cast<unsigned char>(digitValue(hex[2 * i]) * 16 + digitValue(hex[2 * i + 1]));
    }
    return Command_acknowledge(
        Protocol_client_serial_sendData(daemonClient, device, bytes.data(), count),
        "Protocol_client_serial_sendData err!", "serial data", answer);
}

std::int32_t Protocol_client_serial_getParams(ProtocolClient* client, const DeviceId& device,
                                              SerialParams& params) {
    const bool traced = true;
    return Record_request(client, device, "serial get params", Protocol_client_readSerialParams,
                          params, traced);
}

std::int32_t Protocol_client_serial_setParams(ProtocolClient* client, const DeviceId& device,
                                              const SerialParams& params) {
    return Record_send<SerialParams>(client, device, "serial set params", "serialparams", params,
                                     kMembers);
}

std::int32_t Protocol_client_serial_matrixGet(ProtocolClient* client, const DeviceId& device,
                                              DeviceId& txid) {
    return Route_get(client, device, kQuery, txid);
}

std::int32_t Protocol_client_serial_matrixSet(ProtocolClient* client, const DeviceId& device,
                                              std::string_view txid) {
    return Route_set(client, device, "serial matrix set", "serialsource", txid);
}

std::int32_t Protocol_client_serial_matrixClear(ProtocolClient* client, const DeviceId& device) {
    return Protocol_client_oneWay(client, {.cmd = "serial matrix clear", .devices = {&device, 1}});
}

std::int32_t Protocol_client_serial_sendData(ProtocolClient* client, const DeviceId& device,
                                             const unsigned char* data, std::size_t count) {
    return Protocol_client_sendData(client, device, "serial data", data, count);
}
