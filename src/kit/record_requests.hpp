// What the families that read and write whole records share: the scan of a line into a record, the
// request that asks one device for its record, and the request that sends it one.
#pragma once

#include <cstdint>
#include <span>
#include <utility>

#include "kit/scan.hpp"
#include "protocol/exchange.hpp"
#include "protocol/records.hpp"
#include "protocol/reply.hpp"

/// How long most single-reply requests wait.
inline constexpr int kReplyTimeoutSeconds = 3;

/// Scans one word into each field of `members`, in order, but the rest of the line into the last
/// one. Values are cut to their fields.
template <typename Record>
void Record_scan(LineScan& scan, Record& record, std::span<const RecordMember<Record>> members) {
    for (const auto& member : members) {
        const bool last = &member == &members.back();
        (record.*member.field).set(last ? scan.rest() : scan.word());
    }
}

/// Asks one device; `read` reads its reply into the record.
/// @param traced  print the request and every datagram received
/// @return 0 when the reply was read (or requests are skipped), -1 otherwise
template <typename Record>
std::int32_t Record_request(ProtocolClient* client, const DeviceId& device, const char* cmd,
                            std::int32_t (*read)(const cJSON* reply, Record& record),
                            Record& record, bool traced = false) {
    const auto readReply = [&](JsonTree reply) {
        return Reply_take(std::move(reply),
                          [&](const cJSON* document) { return read(document, record); });
    };
    return Protocol_client_singleReply(
        client, {.cmd = cmd, .devices = {&device, 1}, .traced = traced},
        {.timeout_s = kReplyTimeoutSeconds, .read = readReply, .traced = traced});
}

/// Sends one device the fields of `members` in an object under `key`, and waits for nothing.
/// @return 0 when sent (or requests are skipped), -1 otherwise
template <typename Record>
std::int32_t Record_send(ProtocolClient* client, const DeviceId& device, const char* cmd,
                         const char* key, const Record& record,
                         std::span<const RecordMember<Record>> members) {
    const auto addRecord = [&](cJSON* root) {
        Record_addMembers(Json_addObject(root, key), record, members);
    };
    return Protocol_client_oneWay(client,
                                  {.cmd = cmd, .devices = {&device, 1}, .addMembers = addRecord});
}
