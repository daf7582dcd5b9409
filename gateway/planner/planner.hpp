// What to ask next of a fleet that nobody asks for anything, and when.
//
// The devices are listed every so often, and the routes of each decoder are read every so often;
// both are aims, which give way to two bounds. Polling a fleet that answers takes the turn for at
// most a fifth of any ten seconds. Devices that do not answer take it for at most a quarter of any
// minute on top of that; what an answering one takes beyond what was to be expected of it is put to
// that account too, and one that needs more than a second counts as silent.
//
// A read that brings nothing sets the decoder back: it is read again when a listing has heard it,
// and, if it goes on so, after pauses that double up to ten minutes. Each kind of route stands for
// itself, since there are decoders without serial port or infrared: kinds that have answered the
// last time are read together, any other by itself, and of those what has failed least often first.
// Of the account of silent devices some is left to those that answer; what has failed a single time
// may take of that too, since it most likely answers again, and what is shown of it grows old
// meanwhile.
//
// Pure: time comes in as an argument, and never goes back. Not for two threads at once.
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gateway/planner/budget.hpp"
#include "gateway/state/fleet.hpp"

namespace avoip::gw {

struct PlannerOptions {
    std::chrono::seconds devices{15};
    std::chrono::seconds routes{10};
};

enum class PollKind { kNothing, kListing, kRoutes };

struct Poll {
    PollKind kind = PollKind::kNothing;
    Moment at = {};  ///< of kNothing: when to ask again at the latest
    std::string decoder = {};
    std::vector<RouteKind> kinds = {};  ///< to be read together
    Span expected{0};                   ///< how long it should take the turn at most
};

/// No further question of a poll is asked that has taken so long already.
inline constexpr Span kLongestPoll = std::chrono::seconds(1);

/// How long a question of a poll may take: the daemon's patience with a device, and some.
inline constexpr Span kLongestQuestion = std::chrono::milliseconds(3'500);

/// More decoders are not planned for; those that are not heard are forgotten then.
inline constexpr std::size_t kMostPlans = 4'096;

enum class PollEnd {
    kAnswered,
    kSilent,   ///< no reply within the daemon's time
    kSlow,     ///< not done within kLongestPoll
    kUnfit,    ///< what came was no answer to what was asked
    kNotAsked  ///< no turn or no daemon: nothing was learned
};

struct PollOutcome {
    PollEnd end = PollEnd::kAnswered;
    /// Which kind of route was being asked for when it failed; nothing: all of the decoder.
    std::optional<RouteKind> failed = {};
};

/// What is known of one kind of a decoder's routes.
struct RoutePlan {
    Moment due = {};
    bool answered = false;  ///< the last time, or the time before
    int failures = 0;       ///< in succession
};

struct DecoderPlan {
    std::array<RoutePlan, kRouteKinds> routes = {};
    bool heard = false;  ///< by the last listing, and not found silent since
    Span cost{0};        ///< of one question of its last poll; nothing: never read
};

struct Planner {
    explicit Planner(PlannerOptions chosen) : options(chosen) {}

    PlannerOptions options;
    Budget polling{std::chrono::seconds(10), std::chrono::milliseconds(1'900)};
    Budget silence{std::chrono::seconds(60), std::chrono::milliseconds(14'500)};
    std::map<std::string, DecoderPlan, std::less<>> decoders = {};
    /// Those that were heard, by when they are due.
    std::set<std::pair<Moment, std::string>> queue = {};
    Moment listingDue = {};
    Span listingCost{0};
    Moment notBefore = {};  ///< the next read: others shall have the turn between two
    /// Decoders that answer and that the round over all routes has yet to read; since when it goes
    /// on.
    std::set<std::string, std::less<>> round = {};
    Moment roundBegan = {};
};

/// What to do now. `clean` says whether replies may be believed without a listing before; without
/// `bold` no decoder is read that has not answered the last time.
Poll Planner_next(const Planner& planner, Moment now, bool clean, bool bold);

/// A listing of all devices has come, whoever wanted it, that has heard these decoders. Polling is
/// charged for the time from `from` on; equal moments for a listing that was not a poll.
void Planner_listed(Planner& planner, std::span<const std::string> decoders, Moment from,
                    Moment now);

/// A listing that was a poll has failed; it is tried again after `pause`.
void Planner_listingFailed(Planner& planner, Moment from, Moment now, Span pause);

/// A listing is wanted soon.
void Planner_listSoon(Planner& planner, Moment now);

/// A poll of routes that took from `from` until now has ended so. Gives how long the round over all
/// routes has taken, when this was the last of it.
std::optional<Span> Planner_polled(Planner& planner, const Poll& poll, const PollOutcome& outcome,
                                   Moment from, Moment now);

/// Routes of a decoder were read for somebody, and so need not be read soon.
void Planner_readOtherwise(Planner& planner, std::string_view decoder, RouteKind kind, Moment now);

}  // namespace avoip::gw
