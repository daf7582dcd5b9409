#include "commands/edid.hpp"

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/output.hpp"
#include "base64.hpp"
#include "kit/finish.hpp"
#include "kit/scan.hpp"
#include "protocol/exchange.hpp"
#include "protocol/reply.hpp"

namespace {

constexpr int kEdidTimeoutSeconds = 5;

std::string hexText(std::string_view base64) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::array<unsigned char, 512> bytes;
    const int count = base64_decode(bytes.data(), base64.data(), static_cast<int>(base64.size()));
    std::string text;
    for (int i = 0; i < count; ++i) {
        const unsigned byte = bytes[static_cast<std::size_t>(i)];
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

/// Reads the two characters of a byte, or the one that an odd text ends with, as the C library
/// reads a number: blanks and a sign are taken, no digit gives 0.
unsigned char readByte(std::string_view digits) {
    return static_cast<unsigned char>(std::strtoul(std::string(digits).c_str(), nullptr, 16));
}

/// Gives `device` the typed EDID, unless it is too long.
std::int32_t sendEdid(const DeviceId& device, std::string_view hex) {
    const std::size_t count = (hex.size() + 1) / 2;
    if (count > kEdidBytesMax) {
        Output_print("an EDID of %zu bytes is too long: at most %zu\n", count, kEdidBytesMax);
        return -1;
    }
    std::array<unsigned char, kEdidBytesMax> bytes;
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = readByte(hex.substr(2 * i, 2));
    }
    std::array<char, kEdidBytesMax / 3 * 4 + 1> base64{};
    base64_encode(base64.data(), bytes.data(), static_cast<int>(count));
    return Protocol_client_setEncodeEdid(daemonClient, device, base64.data());
}

constexpr MemberName kEdid[] = {{"edid", "get edid err!"}};

std::int32_t readEdid(const cJSON* reply, EdidText& edid) {
    std::string_view text;
    const auto store = [&text](const MemberName& /*edid*/, const char* value) { text = value; };
    if (Reply_readObject<MemberName>(reply, "rxedid", "get rxedid err!", kEdid, store) < 0) {
        return -1;
    }
    if (text.size() >= edid.bytes.size()) {
        Output_print("an EDID of %zu characters is too long: at most %zu\n", text.size(),
                     edid.bytes.size() - 1);
        return -1;
    }
    edid.set(text);
    return 0;
}

constexpr const char* kSetError = "Protocol_client_setEncodeEdid err!";

}  // namespace

int Command_getRxEdid(int /*socket*/, const char* line, char** answer) {
    const std::string_view id = LineScan(line).skipWords(4).rest();
    EdidText edid{};
    if (Protocol_client_getDecodeEdid(daemonClient, Scan_deviceEntry(id), edid) < 0) {
        return Command_fail("Protocol_client_getDecodeEdid err!");
    }
    const JsonTree root = Answer_success("config get rx edid");
    cJSON* info = Answer_addSingle(root, "rxedid");
    Json_addText(info, "deviceid", Scan_id(id).c_str());
    Json_addText(info, "edid", hexText(edid.view()).c_str());
    Answer_store(root, *answer);
    return 0;
}

int Command_setTxEdid(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const DeviceId device = Scan_deviceEntry(scan.skipWords(4).word());
    const std::string_view hex = scan.rest();
    if (!scan.complete()) {
        return -1;
    }
    return Command_acknowledge(sendEdid(device, hex), kSetError, "config set tx edid", answer);
}

int Command_setAllEdid(int /*socket*/, const char* line, char** answer) {
    LineScan scan(line);
    const std::string_view hex = scan.skipWords(4).rest();
    if (!scan.complete()) {
        return -1;
    }
    return Command_acknowledge(sendEdid(Scan_id("All_TX"), hex), kSetError, "config set all edid",
                               answer);
}

std::int32_t Protocol_client_getDecodeEdid(ProtocolClient* client, const DeviceId& device,
                                           EdidText& edid) {
    const auto read = [&edid](const JsonTree& reply) { return readEdid(reply.get(), edid); };
    return Protocol_client_singleReply(client, {.cmd = "edid get", .devices = {&device, 1}},
                                       {.timeout_s = kEdidTimeoutSeconds, .read = read});
}

std::int32_t Protocol_client_setEncodeEdid(ProtocolClient* client, const DeviceId& device,
                                           const char* edid) {
    const auto addEdid = [edid](cJSON* root) {
        Json_addText(Json_addObject(root, "txedid"), "edid", edid);
    };
    return Protocol_client_oneWay(
        client, {.cmd = "edid set", .devices = {&device, 1}, .addMembers = addEdid});
}
