// Watches one daemon from its start to its end: what is seen of it at a moment, and for how long it
// has been so. Nothing is printed and nobody is sent anything, but the blanks on the kept
// connection and the one question.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "avoipguard/concludes/seen.hpp"
#include "avoipguard/concludes/wear.hpp"
#include "avoipguard/does/kept_console.hpp"
#include "avoipguard/does/question.hpp"
#include "avoipguard/sees/bounds.hpp"
#include "avoipguard/sees/process.hpp"

namespace avoip::guard {

struct Watch {
    pid_t pid = 0;
    /// The beginning of what it has printed, where its identity stands.
    std::string firstWords;
    KeptConsole console;
    Question question;

    std::int64_t lastLook_ms = 0;
    /// Set once its console has read: by then it has all that it begins with.
    bool isComplete = false;
    pid_t listenerThread = 0;
    int listener = -1;              ///< the descriptor that it listens with; -1: not seen
    std::uint64_t replySocket = 0;  ///< 0: not seen
    SocketOwner sharer;             ///< of the reply port
    std::vector<int> segments;      ///< those that it is attached to
    Use fresh;                      ///< what it took up then
    Use latest;                     ///< what it took up at the latest look
    Bounds bounds;                  ///< what it could take up then
    std::int64_t nextGrowth_ms = 0;
    std::size_t mappings = 0;
    std::size_t mappingsAt_bytes = 0;  ///< of private memory when they were counted
    std::int64_t nextCount_ms = 0;
    std::int64_t unconnected_ms = 0;
    std::int64_t stopped_ms = 0;
    std::int64_t unread_ms = 0;
    DaemonSeen seen;  ///< at the latest look
};

/// Keeps what the daemon prints first.
void Watch_hear(Watch& watch, std::string_view printed);

/// What is seen of the daemon now, but not whether it uploads. `dying` is the reply socket of the
/// daemon before it, which the system may not have cleared away yet.
DaemonSeen Watch_look(Watch& watch, HeldTurn& turn, std::uint64_t dying, std::int64_t now_ms);

/// Whether the daemon sends an image to a device now.
bool Watch_uploads(const Watch& watch);

/// Whether the daemon has taken up so much since the latest look that the next one should not wait.
/// A small address space is used up within less time than there is between two looks.
bool Watch_hasGrown(Watch& watch, std::int64_t now_ms);

/// Whether no connection but the kept one stands.
bool Watch_isQuiet(Watch& watch, std::int64_t now_ms);

/// The identity in what the daemon prints first; empty when it says none.
std::string Watch_identity(std::string_view firstWords);

}  // namespace avoip::guard
