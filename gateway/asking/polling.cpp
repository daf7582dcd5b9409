#include "gateway/asking/polling.hpp"

#include <algorithm>
#include <utility>

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;

/// After a listing that has failed; doubled each time, but for a daemon that is not there: to look
/// for it costs nothing.
constexpr Span kFirstPause = 500ms;
constexpr Span kLongestPause = 15s;
constexpr Span kAbsentPause = 1s;

std::vector<std::string> decodersIn(std::span<const DeviceReport> reports) {
    std::vector<std::string> decoders;
    for (const DeviceReport& report : reports) {
        if (DeviceType_of(report.type) == DeviceType::kDecoder) {
            decoders.push_back(report.id);
        }
    }
    return decoders;
}

/// A listing that comes much too early is no discovery that a device can miss: a device that starts
/// again would be gone when a few come in succession.
bool isDiscovery(Polling& polling, Moment now) {
    const Span least = Span(polling.options.devices) * 4 / 5;
    const bool counts = !polling.discoveredAt || now - *polling.discoveredAt >= least;
    if (counts) {
        polling.discoveredAt = now;
    }
    return counts;
}

void learnListing(Polling& polling, const Command& listing, const Answer& answer) {
    // Listings of one kind of device are nobody's here.
    if (&listing != &Catalogue_listing()) {
        return;
    }
    const std::vector<DeviceReport> reports = DeviceReports_of(answer);
    const bool missing = isDiscovery(polling, polling.clocks.now());
    polling.state.with(
        [&](State& state) { State_listed(state, reports, polling.clocks.time(), missing); });
    polling.session.heard = decodersIn(reports);
}

PollOutcome endOf(const Session& session, const Reply& outcome) {
    const auto failed = session.last == nullptr ? std::nullopt : RouteKind_of(*session.last);
    switch (outcome.end) {
        case End::kSuccess:
            return {PollEnd::kAnswered};
        case End::kFailure:
        case End::kUnverified:
        case End::kUnreadable:
        case End::kOverwritten:
            return {session.silent ? PollEnd::kSilent : PollEnd::kUnfit, failed};
        case End::kNoAnswer:
            return {session.silent ? PollEnd::kSilent : PollEnd::kNotAsked, failed};
        case End::kRefused:
            return {PollEnd::kUnfit};
        case End::kNoDaemon:
        case End::kNoTurn:
            break;
    }
    return {PollEnd::kNotAsked};
}

PollOutcome readRoutes(Polling& polling, const Poll& poll) {
    std::vector<Request> reads;
    for (const RouteKind kind : poll.kinds) {
        reads.push_back({&RouteKind_read(kind), {poll.decoder}});
    }
    Session& session = polling.session;
    session.reader.rounds = 1;
    const Ask ask = session.reader.ask;
    const Moment began = polling.clocks.now();
    bool slow = false;
    session.reader.ask = [&](const Request& request) {
        slow = polling.clocks.now() - began > kLongestPoll;
        return slow ? Reply{End::kNoTurn} : ask(request);
    };
    const Batch batch = Reader_read(session.reader, reads);
    session.reader.ask = ask;
    Session_learn(session, polling.state, reads, batch, polling.clocks.time());
    return slow ? PollOutcome{PollEnd::kSlow} : endOf(session, batch.outcome);
}

}  // namespace

Polling::Polling(PlannerOptions chosen, Session& itsSession, SharedState& itsState,
                 Clocks itsClocks)
    : options(chosen),
      session(itsSession),
      state(itsState),
      clocks(std::move(itsClocks)),
      planner(chosen) {
    session.reader.listed = [this](const Command& listing, const Answer& answer) {
        learnListing(*this, listing, answer);
    };
}

Poll Polling_next(const Polling& polling, bool clean, bool bold) {
    const Poll poll = Planner_next(polling.planner, polling.clocks.now(), clean, bold);
    const bool futile = poll.kind == PollKind::kRoutes && polling.failures > 0;
    return futile ? Poll{PollKind::kNothing, polling.planner.listingDue} : poll;
}

PollOutcome Polling_run(Polling& polling, const Poll& poll) {
    if (poll.kind == PollKind::kRoutes) {
        return readRoutes(polling, poll);
    }
    const Reply reply = Reader_list(polling.session.reader, Catalogue_listing());
    Polling_noteListing(polling, reply.end);
    return endOf(polling.session, reply);
}

void Polling_noteListing(Polling& polling, End end) {
    if (end != End::kNoTurn) {
        polling.failures = end == End::kSuccess ? 0 : polling.failures + 1;
    }
    const int doublings = std::clamp(polling.failures - 1, 0, 10);
    polling.pause = std::min(kFirstPause * (1 << doublings),
                             end == End::kNoDaemon ? kAbsentPause : kLongestPause);
}

std::optional<Span> Polling_charge(Polling& polling, const Poll& poll, const PollOutcome& outcome,
                                   Moment from) {
    const Moment now = polling.clocks.now();
    polling.session.learned.clear();
    if (poll.kind == PollKind::kRoutes) {
        return Planner_polled(polling.planner, poll, outcome, from, now);
    }
    if (polling.session.heard) {
        Planner_listed(polling.planner, *polling.session.heard, from, now);
        polling.session.heard.reset();
    } else {
        Planner_listingFailed(polling.planner, from, now, polling.pause);
    }
    return std::nullopt;
}

void Polling_note(Polling& polling) {
    const Moment now = polling.clocks.now();
    for (const auto& [decoder, kind] : std::exchange(polling.session.learned, {})) {
        Planner_readOtherwise(polling.planner, decoder, kind, now);
    }
    if (polling.session.heard) {
        Planner_listed(polling.planner, *polling.session.heard, now, now);
        polling.session.heard.reset();
    }
}

}  // namespace avoip::gw
