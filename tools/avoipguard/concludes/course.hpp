// The course of a daemon's life as its supervisor steers it: what is seen at a moment, and the
// moment itself, go in; the state to show and the one thing to do come out. Pure: it looks at no
// clock.
//
//     no daemon --start--> starting --proven--> serving
//         ^                    |                   |
//         +---- ended by itself, or by kEnd -------+
//
// A daemon that is of no use is ended at once, and the next one is started as soon as it can work.
// When that does not help - the next one serves for less than two seconds, or not at all - the
// pauses before the starts grow: none, 250 ms, 500 ms, and so on up to a minute.
//
// Wear (wear.hpp) has a daemon that works replaced: from 60 % on in a moment without connections,
// from 85 % on in the turn that front ends take, from 95 % on at once.
#pragma once

#include <cstdint>
#include <string>

#include "avoipguard/concludes/fault.hpp"
#include "avoipguard/concludes/seen.hpp"
#include "lib/health/health.hpp"

namespace avoip::guard {

enum class Action {
    kNone,
    kStart,          ///< start a daemon
    kEnd,            ///< end this one; the next look may find that a new one can be started
    kReplaceInTurn,  ///< take the turn and replace this one; when there is no turn, do nothing
    kReplaceQuietly  ///< the same, if no connection but the own one stands then
};

struct Step {
    HealthState state = HealthState::kStarting;
    std::string reason;
    Action action = Action::kNone;
};

enum class Phase { kNoDaemon, kStarting, kServing };

struct Course {
    Phase phase = Phase::kNoDaemon;
    std::int64_t phaseSince_ms = 0;
    /// Why there is no daemon that serves; empty before the first one.
    std::string reason;
    /// Whether that is a failure, and no matter of course.
    bool hasFailed = false;
    /// How many daemons in a row have served for less than two seconds.
    int failures = 0;
    /// No daemon is started before this moment.
    std::int64_t notBefore_ms = 0;
    /// Since when a restart has waited for an upload; negative when none waits.
    std::int64_t sparedSince_ms = -1;
};

/// What to do, and what to show. The step's action is taken to be carried out, but for a
/// replacement: that one is told by Course_replaced.
Step Course_next(Course& course, const Seen& seen, std::int64_t now_ms);

/// The daemon, worn as it was, has been ended for a replacement: a new one can be started.
void Course_replaced(Course& course, const Wear& wear, std::int64_t now_ms);

}  // namespace avoip::guard
