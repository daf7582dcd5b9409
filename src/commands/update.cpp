#include "commands/update.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "base/output.hpp"
#include "firmware/upload.hpp"
#include "kit/finish.hpp"
#include "kit/scan.hpp"
#include "protocol/discovery.hpp"
#include "protocol/exchange.hpp"

namespace {

constexpr std::int32_t kIdleTimeoutMs = 1000;

// The decoder commands print it too (kept: copied-error-lines).
constexpr const char* kUploadError = "Main_update_encoder err!";

using ImagePath = FixedText<128>;
using DeviceRecords = std::array<DeviceRecord, kDeviceRecordsMax>;
using Upload = int (*)(ProtocolClient* client, const char* ip, const char* path, bool wait);

ImagePath pathOf(std::string_view text) {
    ImagePath path{};
    path.set(text);
    return path;
}

/// Finds the devices of a group. @return 0, or -1 after its line
int discover(const char* group, DeviceRecords& records, std::span<const DeviceRecord>& found) {
    const DeviceId target = Scan_id(group);
    std::uint32_t count = 0;
    if (Protocol_client_getDevice(daemonClient, &target, 1, kIdleTimeoutMs, records, &count) < 0) {
        return Command_fail("Protocol_client_getDevice err!");
    }
    found = std::span<const DeviceRecord>(records).first(count);
    return 0;
}

/// Uploads to device number `index` of those found; the last one is waited for.
int uploadTo(std::span<const DeviceRecord> found, std::size_t index, Upload upload,
             const ImagePath& path) {
    const DeviceRecord& device = found[index];
    const bool wait = index + 1 == found.size();
    Output_print("\nNUM:%d\tID:%s\tIP:%s\twait:%d\n", static_cast<int>(index),
                 device.deviceid.c_str(), device.devaddr.c_str(), wait ? 1 : 0);
    return upload(daemonClient, device.devaddr.c_str(), path.c_str(), wait);
}

int updateDevice(const char* line, const char* cmd, const char* group, Upload upload,
                 char** answer) {
    LineScan scan(line);
    scan.literal(cmd).literal(" ");
    const std::string_view id = scan.word();
    const ImagePath path = pathOf(scan.rest());
    DeviceRecords records;
    std::span<const DeviceRecord> found;
    if (discover(group, records, found) < 0) {
        return -1;
    }
    const auto device = std::find_if(found.begin(), found.end(), [id](const DeviceRecord& each) {
        return each.deviceid.view() == id;
    });
    if (device == found.end()) {
        return -1;
    }
    const int result = upload(daemonClient, device->devaddr.c_str(), path.c_str(), true);
    return Command_acknowledge(result, kUploadError, cmd, answer);
}

constexpr int kUpdateTimeoutSeconds = 1;
constexpr std::size_t kUpdateTxSizeMax = 1500;

/// Nothing is read from the reply beyond its acknowledgement.
std::int32_t acknowledged(const JsonTree& /*reply*/) {
    return 0;
}

void addDecimal(cJSON* root, const char* key, std::int32_t number) {
    Json_addText(root, key, std::to_string(number).c_str());
}

}  // namespace

int Command_updateAllEncoders(int /*socket*/, const char* line, char** answer) {
    const ImagePath path = pathOf(LineScan(line).literal("update all encoders ").rest());
    DeviceRecords records;
    std::span<const DeviceRecord> found;
    int result = discover("All_TX", records, found);
    if (result < 0) {
        return -1;
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        result = uploadTo(found, i, Main_update_encoder, path);
        if (result < 0) {
            Output_print("update err!\n");
        }
    }
    // The answer says success even after a failed last upload; the result then replaces it
    // (kept: update-all-differs).
    Answer_store(Answer_success("update all encoders"), *answer);
    return result;
}

int Command_updateAllDecoders(int /*socket*/, const char* line, char** answer) {
    const ImagePath path = pathOf(LineScan(line).literal("update all decoders ").rest());
    DeviceRecords records;
    std::span<const DeviceRecord> found;
    if (discover("All_RX", records, found) < 0) {
        return -1;
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (uploadTo(found, i, Main_update_decoder, path) < 0) {
            return Command_fail(kUploadError);
        }
    }
    Answer_store(Answer_success("update all decoders"), *answer);
    return 0;
}

int Command_updateDeviceEncoder(int /*socket*/, const char* line, char** answer) {
    return updateDevice(line, "update device encoder", "All_TX", Main_update_encoder, answer);
}

int Command_updateDeviceDecoder(int /*socket*/, const char* line, char** answer) {
    return updateDevice(line, "update device decoder", "All_RX", Main_update_decoder, answer);
}

std::int32_t Protocol_client_updateTx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, const void* data, std::int32_t length) {
    const auto addMembers = [&](cJSON* root) {
        addDecimal(root, "count", count);
        addDecimal(root, "length", length);
    };
    std::string trailer = "\r\n";
    trailer.append(static_cast<const char*>(data), static_cast<std::size_t>(std::max(length, 0)));
    return Protocol_client_singleReply(client,
                                       {.cmd = "update tx",
                                        .devices = {&device, 1},
                                        .addMembers = addMembers,
                                        .trailer = trailer,
                                        .sizeMax = kUpdateTxSizeMax},
                                       {.timeout_s = kUpdateTimeoutSeconds, .read = acknowledged});
}

std::int32_t Protocol_client_updateRx(ProtocolClient* client, const DeviceId& device,
                                      std::int32_t count, const char* data, std::int32_t length) {
    const auto addMembers = [&](cJSON* root) {
        addDecimal(root, "count", count);
        addDecimal(root, "length", length);
        Json_addText(root, "data", data);
    };
    return Protocol_client_singleReply(
        client, {.cmd = "update rx", .devices = {&device, 1}, .addMembers = addMembers},
        {.timeout_s = kUpdateTimeoutSeconds,
         .read = acknowledged,
         .unreadable = Unreadable::kEndsRequest});
}
