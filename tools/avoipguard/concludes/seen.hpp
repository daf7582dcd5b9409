// Everything that a conclusion is drawn from, as it was seen at one moment.
#pragma once

#include <cstdint>
#include <string>

#include "avoipguard/concludes/wear.hpp"
#include "avoipguard/sees/control.hpp"

namespace avoip::guard {

/// Who holds what the daemon needs, such as "process 4711 (nc)"; empty where nobody does.
struct Holders {
    std::string consolePort;  ///< so that the daemon could not listen there
    std::string replyPort;    ///< so that the daemon could not have it
    std::string segment;      ///< of the answer segment, which cannot be taken from him
};

enum class SegmentPlace {
    kOwn,    ///< the key leads to the segment that the daemon answers in
    kGone,   ///< the key leads to none
    kOther,  ///< the key leads to another one, or front ends have no right to this one any more
};

/// A daemon that runs. Where something cannot be seen at all, it counts as being in order.
struct DaemonSeen {
    bool hasConsole = false;      ///< it listens, and the own connection stands
    bool hasListener = true;      ///< the thread that accepts connections runs
    bool hasReplySocket = true;   ///< the socket on UDP port 8003
    std::string replyPortSharer;  ///< somebody else whom the devices' replies may go to
    std::string identity;         ///< what it calls itself; empty for nothing
    SegmentPlace segment = SegmentPlace::kOwn;
    std::int64_t unconnected_ms = 0;  ///< how long the own connection has not stood
    std::int64_t stopped_ms = 0;      ///< how long it has been stopped, by a signal or a debugger
    std::int64_t unread_ms = 0;       ///< how long the console has left a byte unread
    std::int64_t unanswered_ms = 0;   ///< how long a question has gone without its answer
    bool isProven = false;            ///< the console has read, and answered if it could be asked
    bool uploads = false;             ///< a firmware upload is on its way to a device
    Wear wear;
};

struct Seen {
    ControlSeen control;
    Holders holders;
    bool runs = false;     ///< whether there is a daemon
    bool lingers = false;  ///< the last one was killed, and has yet to leave what it held
    std::string end;       ///< what became of the last one, as a sentence; while none runs
    DaemonSeen daemon;
};

}  // namespace avoip::guard
