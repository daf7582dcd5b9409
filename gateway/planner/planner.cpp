#include "gateway/planner/planner.hpp"

#include <algorithm>

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;

/// What a listing takes at least (the silence that ends it, and what leads up to that), and what it
/// may be expected to take at most.
constexpr Span kListingLeast = 800ms;

/// What the poll of a decoder may take at least; one that was never read may take as long as any.
constexpr Span kPollLeast = 200ms;

/// What a poll takes at most. Of the account of silent devices so much is left to those that
/// answer, or have failed a single time.
constexpr Span kSurprise = kLongestPoll + kLongestQuestion;

constexpr Span kLongestPause = 10min;

/// When to look again whether somebody still waits, for whom suspects are held back.
constexpr Span kHoldBack = 50ms;

/// Between two polls of decoders the turn is free for so many times as long as the first one took.
constexpr int kRest = 4;

RoutePlan& planOf(DecoderPlan& decoder, RouteKind kind) {
    return decoder.routes.at(static_cast<std::size_t>(kind));
}
const RoutePlan& planOf(const DecoderPlan& decoder, RouteKind kind) {
    return decoder.routes.at(static_cast<std::size_t>(kind));
}

Moment dueOf(const DecoderPlan& decoder) {
    return std::ranges::min(decoder.routes, {}, &RoutePlan::due).due;
}

/// Changes a decoder's plan and keeps its place in the queue.
template <class Change>
void change(Planner& planner, std::string_view id, Change act) {
    const auto found = planner.decoders.find(id);
    if (found == planner.decoders.end()) {
        return;
    }
    DecoderPlan& decoder = found->second;
    planner.queue.erase({dueOf(decoder), found->first});
    act(decoder);
    if (decoder.heard) {
        planner.queue.emplace(dueOf(decoder), found->first);
    } else {
        planner.round.erase(found->first);
    }
}

/// How long to leave one in peace that has failed so often. The first time it is as the listing
/// says: what comes back is read at once.
Span pauseAfter(const Planner& planner, int failures) {
    Span pause = failures < 2 ? Span{0} : Span(planner.options.routes);
    for (int i = 2; i < failures && pause < kLongestPause; ++i) {
        pause *= 2;
    }
    return std::min(pause, kLongestPause);
}

/// The questions of a poll: one for each kind, and the one that closes the batch.
int questionsOf(const Poll& poll) {
    return static_cast<int>(poll.kinds.size()) + 1;
}

/// What one question of a poll has cost, which is never nothing.
Span costOf(const Poll& poll, Moment from, Moment now) {
    return std::chrono::floor<Span>(now - from) / questionsOf(poll) + Span{1};
}

Span expectedOf(const DecoderPlan& decoder, const Poll& poll) {
    if (decoder.cost == Span{0}) {
        return kLongestPoll;
    }
    return std::max(kPollLeast, questionsOf(poll) * decoder.cost * 5 / 4);
}

Span expectedListing(const Planner& planner) {
    return std::clamp(planner.listingCost + planner.listingCost / 4, kListingLeast,
                      planner.polling.limit);
}

bool isTrusted(const RoutePlan& plan) {
    return plan.answered && plan.failures == 0;
}

/// What has failed a single time, which a single lost or foreign reply suffices for.
bool hasLapsed(const RoutePlan& plan) {
    return plan.answered && plan.failures == 1;
}

bool answers(const DecoderPlan& decoder) {
    return std::ranges::any_of(decoder.routes, isTrusted);
}

/// In which order routes are read of which any may be: what answers, what has lapsed, what was
/// never read, and then what has failed least often. Where many have no serial port and no
/// infrared, those take all the room there is; a decoder that comes back does not wait among them.
int rankOf(const RoutePlan& plan) {
    return isTrusted(plan) ? -2 : hasLapsed(plan) ? -1 : plan.failures;
}

/// What of a decoder that is due is to be read first.
const RoutePlan& firstOf(const DecoderPlan& decoder, Moment now) {
    const RoutePlan* first = nullptr;
    for (const RoutePlan& plan : decoder.routes) {
        if (plan.due <= now && (first == nullptr || rankOf(plan) < rankOf(*first))) {
            first = &plan;
        }
    }
    return *first;
}

/// The poll of a decoder that is due: what can be trusted to answer together, or else the first of
/// what cannot.
Poll pollOf(const std::string& id, const DecoderPlan& decoder, Moment now) {
    Poll poll{PollKind::kRoutes, now, id};
    const RoutePlan& first = firstOf(decoder, now);
    for (const RouteKind kind : kAllRouteKinds) {
        const RoutePlan& plan = planOf(decoder, kind);
        if (&plan == &first || (plan.due <= now && isTrusted(plan))) {
            poll.kinds.push_back(kind);
        }
    }
    while (poll.kinds.size() > 1 && questionsOf(poll) * decoder.cost > kLongestPoll) {
        poll.kinds.pop_back();
    }
    poll.expected = expectedOf(decoder, poll);
    return poll;
}

Poll nothingUntil(Moment at) {
    return {PollKind::kNothing, at};
}

const DecoderPlan& decoderOf(const Planner& planner, const std::string& id) {
    return planner.decoders.find(id)->second;
}

/// Of the decoders that are due and cannot be trusted, the one to be read first; there is one.
const std::string& firstSuspect(const Planner& planner, Moment now) {
    const std::string* first = nullptr;
    int least = 0;
    for (const auto& [due, id] : planner.queue) {
        if (due > now) {
            break;
        }
        const RoutePlan& plan = firstOf(decoderOf(planner, id), now);
        if (!isTrusted(plan) && (first == nullptr || rankOf(plan) < least)) {
            first = &id;
            least = rankOf(plan);
        }
    }
    return *first;
}

/// When there is room for one that cannot be trusted.
Moment suspectRoom(const Planner& planner, const RoutePlan& plan, Moment now) {
    return Budget_roomAt(planner.silence, now, hasLapsed(plan) ? kSurprise : 2 * kSurprise);
}

/// The first decoder that may be read now, or else when to look again.
Poll nextRoutes(const Planner& planner, Moment now, bool bold) {
    const Moment trustedRoom = Budget_roomAt(planner.silence, now, kSurprise);
    bool suspectsWait = false;
    Moment wake = Moment::max();
    for (const auto& [due, itsId] : planner.queue) {
        if (due > now) {
            return nothingUntil(std::min(wake, due));
        }
        const bool trusted = isTrusted(firstOf(decoderOf(planner, itsId), now));
        if (!trusted && suspectsWait) {
            continue;
        }
        const std::string& id = trusted ? itsId : firstSuspect(planner, now);
        const DecoderPlan& decoder = decoderOf(planner, id);
        if (!trusted) {
            const Moment room = suspectRoom(planner, firstOf(decoder, now), now);
            suspectsWait = !bold || room > now;
            if (suspectsWait) {
                wake = std::max(room, now + kHoldBack);
                continue;
            }
        }
        const Poll poll = pollOf(id, decoder, now);
        const Moment room = std::max(
            {planner.notBefore, trustedRoom, Budget_roomAt(planner.polling, now, poll.expected)});
        // Those behind it wait for the same room.
        return room <= now ? poll : nothingUntil(std::min(wake, room));
    }
    return nothingUntil(wake);
}

/// Puts what a poll took to the accounts.
void charge(Planner& planner, Span expected, Moment from, Moment now) {
    const Moment expectedEnd = std::min(now, from + expected);
    Budget_take(planner.polling, from, expectedEnd);
    Budget_take(planner.silence, expectedEnd, now);
}

void setBack(const Planner& planner, RoutePlan& plan, Moment now) {
    plan.answered = isTrusted(plan);
    ++plan.failures;
    plan.due = now + pauseAfter(planner, plan.failures);
}

/// Takes the end of a poll into the decoder's plan.
void learn(const Planner& planner, const Poll& poll, const PollOutcome& outcome,
           DecoderPlan& decoder, Moment from, Moment now) {
    switch (outcome.end) {
        case PollEnd::kAnswered:
            decoder.cost = costOf(poll, from, now);
            for (const RouteKind kind : poll.kinds) {
                planOf(decoder, kind) = {now + planner.options.routes, true, 0};
            }
            break;
        case PollEnd::kSlow:
            decoder.cost = costOf(poll, from, now);
            if (poll.kinds.size() == 1) {
                setBack(planner, planOf(decoder, poll.kinds.front()), now);
            }
            break;
        case PollEnd::kSilent:
        case PollEnd::kUnfit:
            for (const RouteKind kind : poll.kinds) {
                if (!outcome.failed || *outcome.failed == kind) {
                    setBack(planner, planOf(decoder, kind), now);
                }
            }
            decoder.heard = decoder.heard && outcome.end != PollEnd::kSilent;
            break;
        case PollEnd::kNotAsked:
            for (const RouteKind kind : poll.kinds) {
                planOf(decoder, kind).due = now + 1s;
            }
            break;
    }
}

/// A round begins with those that answer and are to be read now or soon.
void beginRound(Planner& planner, Moment now) {
    planner.roundBegan = now;
    for (const auto& [due, id] : planner.queue) {
        if (answers(planner.decoders.find(id)->second)) {
            planner.round.insert(id);
        }
    }
}

}  // namespace

Poll Planner_next(const Planner& planner, Moment now, bool clean, bool bold) {
    Poll routes = nextRoutes(planner, now, bold);
    const bool wanted = routes.kind == PollKind::kRoutes && !clean;
    const Moment room = Budget_roomAt(planner.polling, now, expectedListing(planner));
    // While a listing is due, decoders wait for it: otherwise they would take all the room there
    // is.
    if (wanted || planner.listingDue <= now) {
        return room <= now ? Poll{PollKind::kListing, now, {}, {}, expectedListing(planner)}
                           : nothingUntil(room);
    }
    if (routes.kind == PollKind::kRoutes) {
        return routes;
    }
    return nothingUntil(std::min(routes.at, planner.listingDue));
}

void Planner_listed(Planner& planner, std::span<const std::string> decoders, Moment from,
                    Moment now) {
    charge(planner, expectedListing(planner), from, now);
    if (from < now) {
        planner.listingCost = std::chrono::ceil<Span>(now - from);
    }
    planner.listingDue = now + planner.options.devices;
    const std::set<std::string_view> heard(decoders.begin(), decoders.end());
    for (const std::string_view id : heard) {
        const auto [place, added] = planner.decoders.try_emplace(std::string(id));
        for (std::size_t kind = 0; added && kind < kRouteKinds; ++kind) {
            // Of all new ones the first kind is read first: not all decoders have the others.
            place->second.routes.at(kind).due = now + Span(kind);
        }
    }
    std::vector<std::string> known;
    for (const auto& [id, decoder] : planner.decoders) {
        known.push_back(id);
    }
    for (const std::string& id : known) {
        change(planner, id, [&](DecoderPlan& decoder) { decoder.heard = heard.contains(id); });
    }
    if (planner.decoders.size() > kMostPlans) {
        std::erase_if(planner.decoders, [](const auto& plan) { return !plan.second.heard; });
    }
}

void Planner_listingFailed(Planner& planner, Moment from, Moment now, Span pause) {
    charge(planner, expectedListing(planner), from, now);
    planner.listingDue = now + pause;
}

void Planner_listSoon(Planner& planner, Moment now) {
    planner.listingDue = std::min(planner.listingDue, now);
}

std::optional<Span> Planner_polled(Planner& planner, const Poll& poll, const PollOutcome& outcome,
                                   Moment from, Moment now) {
    charge(planner, outcome.end == PollEnd::kSilent ? Span{0} : poll.expected, from, now);
    planner.notBefore = now + std::min(kRest * std::chrono::ceil<Span>(now - from), kPollLeast);
    if (planner.round.empty()) {
        beginRound(planner, from);
    }
    change(planner, poll.decoder,
           [&](DecoderPlan& decoder) { learn(planner, poll, outcome, decoder, from, now); });
    const bool last = planner.round.erase(poll.decoder) > 0 && planner.round.empty();
    return last ? std::optional(std::chrono::ceil<Span>(now - planner.roundBegan)) : std::nullopt;
}

void Planner_readOtherwise(Planner& planner, std::string_view decoder, RouteKind kind, Moment now) {
    change(planner, decoder, [&](DecoderPlan& plan) {
        planOf(plan, kind) = {now + planner.options.routes, true, 0};
    });
}

}  // namespace avoip::gw
