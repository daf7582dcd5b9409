#include "avoipguard/does/watch.hpp"

#include <algorithm>
#include <chrono>

#include "avoipguard/sees/shared_segment.hpp"
#include "avoipguard/sees/sockets.hpp"

namespace avoip::guard {

namespace {

using Sockets = std::optional<std::vector<SocketSeen>>;
using Descriptors = std::vector<OpenDescriptor>;

constexpr std::size_t kFirstWordsMost = 4096;
/// Between two looks no more time counts than this: when this process itself was held up, nothing
/// says that the daemon was not.
constexpr std::int64_t kLongestStepMs = 500;
constexpr std::int64_t kGrowthEveryMs = 5;
constexpr int kGrowthPercent = 5;

/// The daemon's descriptor of a socket; -1 when it has none.
int numberOf(const Descriptors& descriptors, std::uint64_t inode) {
    const auto found = std::ranges::find(descriptors, inode, &OpenDescriptor::socket);
    return inode == 0 || found == descriptors.end() ? -1 : found->number;
}

/// The first of the sockets that is the daemon's; null when none is.
const SocketSeen* ownOf(const Sockets& sockets, const Descriptors& descriptors) {
    if (!sockets) {
        return nullptr;
    }
    const auto found = std::ranges::find_if(*sockets, [&](const SocketSeen& socket) {
        return numberOf(descriptors, socket.inode) >= 0;
    });
    return found == sockets->end() ? nullptr : &*found;
}

/// How many of the connections to the console are the daemon's.
std::size_t connectionsOf(const Descriptors& descriptors) {
    const auto all = Sockets_connections(kConsolePort, 0);
    if (!all) {
        return 0;
    }
    return static_cast<std::size_t>(std::ranges::count_if(*all, [&](const SocketSeen& connection) {
        return numberOf(descriptors, connection.inode) >= 0;
    }));
}

/// Whether no connection but the kept one, with this inode, stands at the console.
bool isQuiet(std::uint64_t kept) {
    const auto connections = Sockets_connections(kConsolePort, 0);
    return connections && kept != 0 &&
           std::ranges::all_of(*connections, [&](const SocketSeen& connection) {
               return connection.inode == kept;
           });
}

/// Counts the mappings when there may be other ones, and not so often that it takes much time.
void countMappings(Watch& watch, std::size_t private_bytes, std::int64_t now_ms) {
    if (private_bytes == watch.mappingsAt_bytes || now_ms < watch.nextCount_ms) {
        return;
    }
    const auto begin = std::chrono::steady_clock::now();
    MappingsSeen seen = Process_mappings(watch.pid);
    const auto cost = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - begin);
    watch.mappings = seen.count;
    watch.segments = std::move(seen.segments);
    watch.mappingsAt_bytes = private_bytes;
    watch.nextCount_ms = now_ms + 10 * cost.count();
}

/// `connections` of its descriptors belong to connections that stand.
Use useOf(Watch& watch, const Descriptors& descriptors, std::size_t connections,
          std::int64_t now_ms) {
    const MemorySeen memory = Process_memory(watch.pid);
    countMappings(watch, memory.private_bytes, now_ms);
    Use use;
    use.connections = connections;
    use.descriptors = descriptors.size() - std::min(connections, descriptors.size());
    use.mappings = watch.mappings;
    use.size_bytes = memory.size_bytes;
    use.private_bytes = memory.private_bytes;
    use.resident_bytes = memory.resident_bytes;
    return use;
}

Wear wearOf(Watch& watch, const Descriptors& descriptors, std::int64_t now_ms) {
    watch.bounds = Bounds_look(watch.pid);
    // Which of them are connections only matters when there are many.
    const bool areMany = descriptors.size() > watch.bounds.descriptors / 2;
    const std::size_t connections = areMany ? connectionsOf(descriptors) : 0;
    watch.latest = useOf(watch, descriptors, connections, now_ms);
    return Wear_worst(watch.fresh, watch.latest, watch.bounds);
}

/// Takes down what the daemon begins with.
void complete(Watch& watch, const Descriptors& descriptors, std::int64_t now_ms) {
    watch.isComplete = true;
    const std::vector<pid_t> threads = Process_threads(watch.pid);
    // The main thread starts the listener first of all.
    watch.listenerThread = threads.size() > 1 ? threads[1] : 0;
    watch.fresh = useOf(watch, descriptors, connectionsOf(descriptors), now_ms);
}

SegmentPlace segmentPlace(const Watch& watch) {
    const auto segment = SharedSegment_look();
    if (!segment) {
        return SegmentPlace::kGone;
    }
    const bool isAttached =
        std::ranges::find(watch.segments, segment->identifier) != watch.segments.end();
    return isAttached && segment->isOwn ? SegmentPlace::kOwn : SegmentPlace::kOther;
}

/// Adds the time since the last look to what lasts, or begins anew.
void lasts(std::int64_t& duration_ms, bool goesOn, std::int64_t step_ms) {
    duration_ms = goesOn ? duration_ms + step_ms : 0;
}

void lookAtReplyPort(Watch& watch, const Descriptors& descriptors, std::uint64_t dying,
                     DaemonSeen& seen) {
    const Sockets bound = Sockets_bound(kReplyPort);
    if (!bound) {
        return;
    }
    const SocketSeen* const own = ownOf(bound, descriptors);
    watch.replySocket = own == nullptr ? 0 : own->inode;
    seen.hasReplySocket = own != nullptr;
    for (const SocketSeen& socket : *bound) {
        if (socket.inode != dying && numberOf(descriptors, socket.inode) < 0) {
            seen.replyPortSharer = SocketOwner_find(watch.sharer, socket.inode, socket.user);
        }
    }
}

/// Looks at the console; gives what is seen of the kept connection.
KeptSeen lookAtConsole(Watch& watch, const Descriptors& descriptors, std::int64_t step_ms,
                       std::int64_t now_ms) {
    const Sockets listeners = Sockets_listeners(kConsolePort);
    const SocketSeen* const own = ownOf(listeners, descriptors);
    watch.listener = own == nullptr ? -1 : numberOf(descriptors, own->inode);
    if (listeners && own == nullptr) {
        // Whoever listens there, if anybody does, is not the daemon.
        return {};
    }
    const KeptSeen kept = KeptConsole_look(watch.console, now_ms);
    lasts(watch.unread_ms, kept.isUnread, step_ms);
    return kept;
}

}  // namespace

void Watch_hear(Watch& watch, std::string_view printed) {
    const std::size_t room = kFirstWordsMost - watch.firstWords.size();
    watch.firstWords += printed.substr(0, room);
}

DaemonSeen Watch_look(Watch& watch, HeldTurn& turn, std::uint64_t dying, std::int64_t now_ms) {
    const std::int64_t step_ms = std::min(now_ms - watch.lastLook_ms, kLongestStepMs);
    watch.lastLook_ms = now_ms;
    const Descriptors descriptors = Process_descriptors(watch.pid);
    if (descriptors.empty()) {
        // It has ended, which shows elsewhere, or it could not be looked at this time.
        return watch.seen;
    }
    const KeptSeen kept = lookAtConsole(watch, descriptors, step_ms, now_ms);
    if (kept.hasRead && !watch.isComplete) {
        complete(watch, descriptors, now_ms);
    }
    if (!watch.isComplete) {
        return {};
    }
    DaemonSeen seen;
    if (watch.question.timesAsked == 0 && !watch.question.isSettled && !isQuiet(kept.inode)) {
        // The answer could be taken by a front end that takes no turns for the answer to its own.
        watch.question.isSettled = true;
    }
    Question_look(watch.question, turn, watch.console, now_ms);
    lasts(watch.unconnected_ms, !kept.stands, step_ms);
    lasts(watch.stopped_ms, Process_isStopped(watch.pid), step_ms);
    seen.hasConsole = true;
    seen.hasListener = Process_hasThread(watch.pid, watch.listenerThread);
    seen.identity = Watch_identity(watch.firstWords);
    seen.segment = segmentPlace(watch);
    seen.unconnected_ms = watch.unconnected_ms;
    seen.stopped_ms = watch.stopped_ms;
    seen.unread_ms = watch.unread_ms;
    seen.unanswered_ms = Question_unanswered_ms(watch.question, now_ms);
    seen.isProven = watch.question.isSettled;
    lookAtReplyPort(watch, descriptors, dying, seen);
    seen.wear = wearOf(watch, descriptors, now_ms);
    watch.seen = seen;
    return seen;
}

bool Watch_uploads(const Watch& watch) {
    const auto uploads = Sockets_connections(0, kUploadPort);
    return uploads && !uploads->empty() &&
           ownOf(uploads, Process_descriptors(watch.pid)) != nullptr;
}

bool Watch_hasGrown(Watch& watch, std::int64_t now_ms) {
    if (!watch.isComplete || now_ms < watch.nextGrowth_ms) {
        return false;
    }
    watch.nextGrowth_ms = now_ms + kGrowthEveryMs;
    const MemorySeen memory = Process_memory(watch.pid);
    Use now = watch.latest;
    now.size_bytes = memory.size_bytes;
    now.private_bytes = memory.private_bytes;
    return Wear_worst(watch.latest, now, watch.bounds).percent >= kGrowthPercent;
}

bool Watch_isQuiet(Watch& watch, std::int64_t now_ms) {
    return isQuiet(KeptConsole_look(watch.console, now_ms).inode);
}

std::string Watch_identity(std::string_view firstWords) {
    constexpr std::string_view kBegin = "local mac:";
    constexpr std::size_t kDigits = 12;
    const std::size_t begin = firstWords.find(kBegin);
    if (begin == std::string_view::npos) {
        return {};
    }
    const std::string_view identity = firstWords.substr(begin + kBegin.size(), kDigits);
    const bool isWhole = identity.size() == kDigits &&
                         identity.find_first_not_of("0123456789abcdef") == std::string_view::npos;
    return isWhole ? std::string(identity) : std::string();
}

}  // namespace avoip::guard
