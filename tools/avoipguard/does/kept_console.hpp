// The console connection that is kept to see whether the daemon is at work: a blank is sent on it
// every second, which the daemon reads at once as the beginning of a line, and posts nothing for.
//
// The daemon takes 4,095 bytes without "!" for a whole line, and would answer them in the middle of
// other front ends' work. So the connection is replaced long before, every hour or so: the blanks
// end with it.
#pragma once

#include <cstdint>

#include "lib/frontend/connection.hpp"

namespace avoip::guard {

struct KeptConsole {
    Connection connection;
    std::uint16_t port = 0;  ///< of the own end
    int blanks = 0;          ///< sent since the connection or its latest line began
    std::int64_t lastBlank_ms = 0;
};

struct KeptSeen {
    bool stands = false;
    bool hasRead = false;  ///< the daemon has read all that was sent, at least one byte
    bool isUnread = false;
    std::uint64_t inode = 0;  ///< of the daemon's end
};

/// Connects when there is no connection, looks whether the daemon has read what was sent, and sends
/// the next blank when it is due. Never waits.
KeptSeen KeptConsole_look(KeptConsole& console, std::int64_t now_ms);

/// Ends the line that the blanks begin by `text`, which ends in "!"; false when the connection has
/// ended. Whoever calls this must have the turn.
bool KeptConsole_sendLine(KeptConsole& console, const char* text);

}  // namespace avoip::guard
