// Discovery: asks the devices of a group to describe themselves and gathers the replies.
#pragma once

#include <cstdint>
#include <span>

#include "protocol/client.hpp"
#include "protocol/records.hpp"

/// The room that discovery's callers give it.
inline constexpr std::size_t kDeviceRecordsMax = 1024;

/// Asks the `deviceCount` identities at `devices` for their records, until `timeout_ms` pass
/// without a datagram. Records stand in the order in which the replies came; a device that
/// replies twice stands twice; no record's type is looked at. Replies that find no room in
/// `records` are received all the same, so that none is left for the next request.
/// @param count  receives the number of records; untouched when nothing was sent
/// @return 0 when the request was sent, however many replies came, or is skipped; -1 otherwise
std::int32_t Protocol_client_getDevice(ProtocolClient* client, const DeviceId* devices,
                                       std::int32_t deviceCount, std::int32_t timeout_ms,
                                       std::span<DeviceRecord> records, std::uint32_t* count);
