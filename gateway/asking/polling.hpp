// What is asked when nobody asks for anything: the planner's polls, carried out with a session, and
// what they teach taken into the state.
//
// Pure, as its session is: tests run it against a model of the daemon, in made-up time.
#pragma once

#include <functional>
#include <optional>

#include "gateway/asking/session.hpp"
#include "gateway/planner/planner.hpp"

namespace avoip::gw {

struct Polling {
    Polling(PlannerOptions chosen, Session& itsSession, SharedState& itsState, Clocks itsClocks);

    PlannerOptions options;
    Session& session;
    SharedState& state;
    Clocks clocks;
    Planner planner;
    /// When a listing last counted as a discovery that a device can miss.
    std::optional<Moment> discoveredAt = {};
    int failures = 0;  ///< of listings, in succession
    Span pause{0};     ///< behind the last listing, if it failed
};

/// What to do now.
Poll Polling_next(const Polling& polling, bool clean, bool bold);

/// Carries a poll out. The turn is held.
PollOutcome Polling_run(Polling& polling, const Poll& poll);

/// Notes how a listing has ended that was a poll; Polling_run() does so for its own.
void Polling_noteListing(Polling& polling, End end);

/// Says what it was that took the turn from `from` until now: a poll with its outcome, or something
/// else, by which polling has learned too. Gives how long the round over all routes has taken, when
/// this ended it.
std::optional<Span> Polling_charge(Polling& polling, const Poll& poll, const PollOutcome& outcome,
                                   Moment from);
void Polling_note(Polling& polling);

}  // namespace avoip::gw
