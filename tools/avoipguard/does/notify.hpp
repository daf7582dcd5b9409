// What this process tells the service manager that started it (sd_notify), if one did: datagrams of
// NAME=VALUE lines to the socket that the environment variable NOTIFY_SOCKET names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "lib/base/descriptor.hpp"

namespace avoip::guard {

struct Notify {
    Descriptor socket;  ///< none when nobody wants to be told
    std::string address;
    /// How often a sign of life is sent; 0 when none is wanted.
    std::int64_t watchdog_ms = 0;
    std::int64_t lastWatchdog_ms = 0;
};

/// Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID.
Notify Notify_open();

/// Sends the lines, if somebody wants them; what cannot be sent at once is lost.
void Notify_send(const Notify& notify, std::string_view lines);

/// Sends a sign of life, if one is wanted and due.
void Notify_watchdog(Notify& notify, std::int64_t now_ms);

}  // namespace avoip::guard
