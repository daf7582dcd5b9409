#include "commands/network.hpp"

#include <span>
#include <string>

#include "kit/finish.hpp"
#include "kit/record_requests.hpp"
#include "kit/scan.hpp"

namespace {

constexpr RecordMember<NetParams> kMembers[] = {
    {"hdcpserver", &NetParams::hdcpserver}, {"static", &NetParams::isStatic},
    {"devaddr", &NetParams::devaddr},       {"devnetmask", &NetParams::devnetmask},
    {"devgateway", &NetParams::devgateway}, {"devmac", &NetParams::devmac},
};

/// The line has no argument for the MAC address.
constexpr std::span kTyped = std::span(kMembers).first<5>();

}  // namespace

int Command_getNetParams(int /*socket*/, const char* line, char** answer) {
    const std::string identity(LineScan(line).skipWords(4).rest());
    const DeviceId device = Scan_expanded(identity);
    NetParams params{};
    if (Protocol_client_getNetParams(daemonClient, device, params) < 0) {
        // The decoder-parameter line (kept: copied-error-lines).
        return Command_fail("Protocol_client_getDecodeParams err!");
    }
    const JsonTree root = Answer_success("config get net params");
    cJSON* info = Answer_addSingle(root, "netparamsinfo");
    Json_addText(info, "deviceid", identity.c_str());
    Record_addMembers<NetParams>(info, params, kMembers);
    Answer_store(root, *answer);
    return 0;
}

int Command_setNetParams(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const DeviceId device = Scan_expanded(scan.literal("config set net params ").word());
    NetParams params{};
    Record_scan<NetParams>(scan, params, kTyped);
    return Command_acknowledge(Protocol_client_setNetParams(daemonClient, device, params),
                               "Protocol_client_setNetParams err!", "config set net params",
                               answer);
}

std::int32_t Protocol_client_getNetParams(ProtocolClient* client, const DeviceId& device,
                                          NetParams& params) {
    return Record_request(client, device, "config get net params", Protocol_client_readNetParams,
                          params);
}

std::int32_t Protocol_client_setNetParams(ProtocolClient* client, const DeviceId& device,
                                          const NetParams& params) {
    return Record_send<NetParams>(client, device, "config set net params", "netparams", params,
                                  kMembers);
}
