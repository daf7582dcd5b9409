// What operations work with, and who wants them.
//
// An operation is what a person or a program wants done: a route, a recall, a wall. It checks what
// it is given, looks whether a lock stands in the way, asks, and says what came of it. Roles are
// looked at before: whoever calls an operation is allowed to.
//
// Operations may run on any number of threads at once; each returns when its time is up.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "gateway/asking/asking.hpp"
#include "gateway/base/timed_mutex.hpp"
#include "gateway/operations/outcome.hpp"
#include "gateway/state/share.hpp"
#include "gateway/state/time.hpp"

namespace avoip::gw {

struct Actor {
    std::string user = "local";
    bool admin = false;
    bool overrides = false;  ///< an admin's word against the locks of others
};

/// Keeps what people want kept. Each gives nothing when it is kept, so that a loss of power takes
/// it away no more, else the problem; the state is changed only then.
struct Keeping {
    std::function<std::optional<Problem>(const Wall& wall)> wall;
    std::function<std::optional<Problem>(const std::string& name)> wallRemoved;
    std::function<std::optional<Problem>(const Job& job)> job;
    std::function<std::optional<Problem>(const std::string& id)> jobRemoved;
};

struct Operations {
    SharedState& state;
    const Asking& asking;
    const Keeping& keeping;
    Clock clock;
    TimedMutex changing = {};       ///< settings that are read first and sent back then
    std::mutex wallsChanging = {};  ///< no decoder may get into two walls
};

/// How long a change waits for its turn.
inline constexpr std::chrono::milliseconds kTurnPatience{3'500};

/// The problem that such an end of an ask is; `reply` is no success.
Problem Problem_of(const Reply& reply);

/// The problem of the value for this argument of a command, as a 422 on `field`; nothing when the
/// console can carry it.
std::optional<Problem> Problem_ofValue(const Argument& argument, const std::string& value,
                                       const std::string& field);

/// A known device of one of these kinds: nothing when it is one; else 422 for an id that the
/// console cannot carry, 404 for one that is not known, 422 for one of the other kind.
std::optional<Problem> Problem_ofDevice(const State& state, const std::string& id,
                                        DeviceKind wanted, const std::string& field);

/// The problem that the locks on these decoders are for the actor, naming each; nothing when there
/// is none.
std::optional<Problem> Problem_ofLocks(const State& state, const Actor& actor,
                                       const std::set<std::string>& decoders);

/// Whether the daemon has carried a one-way command out, as far as it says so: where its answer was
/// overwritten, it is done with it at least.
bool Reply_isSent(const Reply& reply);

/// Sends a one-way command, as soon as it has its turn.
Outcome<Done> Operations_send(const Operations& operations, const Request& command);

}  // namespace avoip::gw
