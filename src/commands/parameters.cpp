#include "commands/parameters.hpp"

#include <cstdlib>
#include <span>

#include "kit/finish.hpp"
#include "kit/record_requests.hpp"
#include "kit/scan.hpp"

namespace {

// In the answers the alias stands before the identity (kept: alias-first).
constexpr RecordMember<EncodeParams> kAnsweredTx[] = {
    {"alias", &EncodeParams::alias},
    {"deviceid", &EncodeParams::deviceid},
    {"enctype", &EncodeParams::enctype},
    {"encres", &EncodeParams::encres},
    {"fps", &EncodeParams::fps},
    {"ratecontrol", &EncodeParams::ratecontrol},
    {"bitrate", &EncodeParams::bitrate},
    {"audioinput", &EncodeParams::audioinput},
    {"audiocodec", &EncodeParams::audiocodec},
    {"audiofreq", &EncodeParams::audiofreq},
    {"audiobitrate", &EncodeParams::audiobitrate},
    {"videoresstatus", &EncodeParams::videoresstatus},
    {"hdcpstatus", &EncodeParams::hdcpstatus},
};

constexpr RecordMember<DecodeParams> kAnsweredRx[] = {
    {"alias", &DecodeParams::alias},
    {"deviceid", &DecodeParams::deviceid},
    {"luma", &DecodeParams::luma},
    {"contrast", &DecodeParams::contrast},
    {"hue", &DecodeParams::hue},
    {"saturation", &DecodeParams::saturation},
    {"videoformat", &DecodeParams::videoformat},
    {"videoresstatus", &DecodeParams::videoresstatus},
    {"hdcpstatus", &DecodeParams::hdcpstatus},
};

/// What the set commands take behind the identity and send on, in the same order: enctype to
/// audiobitrate, and luma to videoformat. The last value of a line is the rest of it.
constexpr std::span kSetTx = std::span(kAnsweredTx).subspan<2, 9>();
constexpr std::span kSetRx = std::span(kAnsweredRx).subspan<2, 5>();

/// Whether the text, read as a decimal number, lies in the range. A negative number counts as a
/// very large one, a text without a leading number as 0.
bool inRange(const FixedText<32>& text, unsigned long lowest, unsigned long highest) {
    const auto value = static_cast<unsigned long>(std::strtol(text.c_str(), nullptr, 10));
    return lowest <= value && value <= highest;
}

bool acceptable(const EncodeParams& params) {
    return (params.enctype.view() == "H264" || params.enctype.view() == "H265") &&
           (params.ratecontrol.view() == "CBR" || params.ratecontrol.view() == "VBR") &&
           inRange(params.fps, 1, 30) && inRange(params.bitrate, 32, 20480);
}

bool acceptable(const DecodeParams& params) {
    return inRange(params.luma, 0, 100) && inRange(params.contrast, 0, 100) &&
           inRange(params.hue, 0, 100) && inRange(params.saturation, 0, 100) &&
           inRange(params.videoformat, 0, 2);
}

}  // namespace

int Command_getTxParams(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_expanded(LineScan(line).skipWords(4).rest());
    EncodeParams params{};
    if (Protocol_client_getEncodeParams(daemonClient, device, params) < 0) {
        return Command_fail("Protocol_client_getEncodeParams err!");
    }
    return Command_answerRecord<EncodeParams>("config get tx params", "txparamsinfo", params,
                                              kAnsweredTx, answer);
}

int Command_setTxParams(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const DeviceId device = Scan_expanded(scan.skipWords(4).word());
    EncodeParams params{};
    Record_scan<EncodeParams>(scan, params, kSetTx);
    if (!acceptable(params)) {
        return -1;
    }
    return Command_acknowledge(Protocol_client_setEncodeParams(daemonClient, device, params),
                               "Protocol_client_setEncodeParams err!", "config set tx params",
                               answer);
}

int Command_getRxParams(int /*socket*/, const char* line, char** answer) {
    const DeviceId device = Scan_expanded(LineScan(line).skipWords(4).rest());
    DecodeParams params{};
    if (Protocol_client_getDecodeParams(daemonClient, device, params) < 0) {
        return Command_fail("Protocol_client_getDecodeParams err!");
    }
    return Command_answerRecord<DecodeParams>("config get rx params", "rxparamsinfo", params,
                                              kAnsweredRx, answer);
}

int Command_setRxParams(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const DeviceId device = Scan_expanded(scan.skipWords(4).word());
    DecodeParams params{};
    Record_scan<DecodeParams>(scan, params, kSetRx);
    if (!acceptable(params)) {
        return -1;
    }
    // The encoder command's name (kept: copied-names).
    return Command_acknowledge(Protocol_client_setDecodeParams(daemonClient, device, params),
                               "Protocol_client_setDecodeParams err!", "config set tx params",
                               answer);
}

std::int32_t Protocol_client_getEncodeParams(ProtocolClient* client, const DeviceId& device,
                                             EncodeParams& params) {
    return Record_request(client, device, "config get tx params", Protocol_client_readTxParams,
                          params);
}

std::int32_t Protocol_client_setEncodeParams(ProtocolClient* client, const DeviceId& device,
                                             const EncodeParams& params) {
    return Record_send<EncodeParams>(client, device, "config set tx params", "txparams", params,
                                     kSetTx);
}

std::int32_t Protocol_client_getDecodeParams(ProtocolClient* client, const DeviceId& device,
                                             DecodeParams& params) {
    return Record_request(client, device, "config get rx params", Protocol_client_readRxParams,
                          params);
}

std::int32_t Protocol_client_setDecodeParams(ProtocolClient* client, const DeviceId& device,
                                             const DecodeParams& params) {
    return Record_send<DecodeParams>(client, device, "config set rx params", "rxparams", params,
                                     kSetRx);
}
