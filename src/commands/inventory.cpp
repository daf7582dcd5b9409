#include "commands/inventory.hpp"

#include <array>
#include <cstdint>

#include "base/output.hpp"
#include "kit/answer.hpp"
#include "protocol/discovery.hpp"

namespace {

constexpr std::int32_t kIdleTimeoutMs = 500;

// The device's identity is listed as "hostid" (kept: devicelist-hostid).
constexpr RecordMember<DeviceRecord> kListedMembers[] = {
    {"hostid", &DeviceRecord::deviceid},       {"devtype", &DeviceRecord::devtype},
    {"alias", &DeviceRecord::alias},           {"devaddr", &DeviceRecord::devaddr},
    {"devnetmask", &DeviceRecord::devnetmask}, {"devgateway", &DeviceRecord::devgateway},
    {"devmac", &DeviceRecord::devmac},         {"status", &DeviceRecord::status},
    {"version", &DeviceRecord::version},
};

int listDevices(const char* group, const char* cmd, char* answer) {
    DeviceId target{};
    target.set(group);
    std::array<DeviceRecord, kDeviceRecordsMax> records;
    std::uint32_t count = 0;
    if (Protocol_client_getDevice(daemonClient, &target, 1, kIdleTimeoutMs, records, &count) < 0) {
        Output_print("Protocol_client_getDevice err!\n");
        return -1;
    }
    const JsonTree root = Answer_success(cmd);
    cJSON* list = Json_addArray(root.get(), "devicelist");
    for (std::uint32_t i = 0; i < count; ++i) {
        Record_addMembers<DeviceRecord>(Json_appendObject(list), records[i], kListedMembers);
    }
    Answer_store(root, answer);
    return 0;
}

}  // namespace

int Command_getDevices(int /*socket*/, const char* /*line*/, char** answer) {
    return listDevices("All", "config get devices", *answer);
}

int Command_getEncoders(int /*socket*/, const char* /*line*/, char** answer) {
    return listDevices("All_TX", "config get encoders", *answer);
}

int Command_getDecoders(int /*socket*/, const char* /*line*/, char** answer) {
    return listDevices("All_RX", "config get decoders", *answer);
}
