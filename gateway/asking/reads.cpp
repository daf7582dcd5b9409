#include "gateway/asking/reads.hpp"

#include <algorithm>
#include <utility>

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// More jobs do not wait.
constexpr std::size_t kMostJobs = 256;

/// How long a poll waits for a daemon to take its connection, and for its turn.
constexpr Span kPollConnect = 50ms;
constexpr Span kPollTurn = 1s;

/// How often a daemon that does not answer is looked at whether it does.
constexpr Span kSignOfLife = 250ms;

/// A device that has not been heard for so long has not answered, as the daemon sees it.
constexpr Span kDeviceSilence = 2'900ms;
constexpr Span kEdidSilence = 4'900ms;

bool isEdid(const Command& command) {
    return command.shape.key == "rxedid";
}

/// A reading command of the daemon waits three seconds, or five, anew for each datagram that it
/// passes over; a listing until there is silence.
Patience patienceFor(const Command& command) {
    const Moment putUntil = Steady::now() + 1s;
    if (command.exchange.kind == ExchangeKind::kListing) {
        return {putUntil, 6s, 4s};
    }
    return isEdid(command) ? Patience{putUntil, 10s, 5'500ms} : Patience{putUntil, 8s, 3'500ms};
}

bool isSilence(const Command& command, const Reply& reply, Span took) {
    return command.exchange.kind == ExchangeKind::kReading && reply.end == End::kFailure &&
           took >= (isEdid(command) ? kEdidSilence : kDeviceSilence);
}

}  // namespace

Reads::Reads(Desk& desk, const ConsoleAddress& address, const AskedWatch& watch, SharedState& state,
             ReadsOptions options)
    : desk_(desk),
      state_(state),
      options_(std::move(options)),
      line_{desk, address, watch},
      session_{.reader = {.ask = [this](const Request& request) { return ask(request); }}},
      polling_(options_.polling, session_, state, {Steady::now, options_.clock}),
      thread_([this](const std::stop_token& stop) { run(stop); }) {}

Reads::~Reads() {
    thread_.request_stop();
    thread_.join();
    for (const ReadJob& job : jobs_) {
        job.fail({End::kNoTurn, {}, "The gateway ends."});
    }
}

bool Reads::add(ReadJob job) {
    const std::scoped_lock held(mutex_);
    if (jobs_.size() >= kMostJobs) {
        return false;
    }
    jobs_.push_back(std::move(job));
    changed_.notify_all();
    return true;
}

void Reads::listSoon() {
    listSoon_ = true;
    changed_.notify_all();
}

/// Asks on the line that reads. A device that is silent is told from one that refuses: to the
/// daemon both are failures.
Reply Reads::ask(const Request& request) {
    session_.last = request.command;
    session_.silent = false;
    Reply checked = Request_check(request);
    if (!checked.succeeded()) {
        return checked;
    }
    const Moment began = Steady::now();
    if (began >= asksUntil_) {
        return {End::kNoTurn, checked.text, "There was no time left to ask it."};
    }
    Reply reply = Line_ask(line_, NamedQuestion(checked.text), patienceFor(*request.command));
    if (isSilence(*request.command, reply, std::chrono::floor<Span>(Steady::now() - began))) {
        session_.silent = true;
        reply.end = End::kNoAnswer;
        reply.reason = "The device does not answer.";
    }
    return reply;
}

void Reads::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (auto job = takeDue()) {
            runJob(std::move(*job));
        } else {
            poll(stop);
        }
    }
}

/// The job that has been due for the longest time.
std::optional<ReadJob> Reads::takeDue() {
    const std::scoped_lock held(mutex_);
    const auto first = std::ranges::min_element(jobs_, {}, &ReadJob::at);
    if (first == jobs_.end() || first->at > Steady::now()) {
        return std::nullopt;
    }
    std::optional<ReadJob> job(std::move(*first));
    jobs_.erase(first);
    return job;
}

void Reads::runJob(ReadJob job) {
    const Reply entered = Line_enter(line_, job.until, false);
    if (!entered.succeeded()) {
        job.fail(entered);
        return;
    }
    session_.reader.clean = desk_.isClean();
    asksUntil_ = job.until;
    const std::optional<Moment> next = job.step(session_);
    desk_.setClean(session_.reader.clean);
    desk_.leave();
    Polling_note(polling_);
    if (!next) {
        return;
    }
    if (*next >= job.until) {
        job.fail({End::kNoAnswer, {}, "There was no time left to ask again."});
        return;
    }
    job.at = *next;
    const std::scoped_lock held(mutex_);
    jobs_.push_back(std::move(job));
}

/// Waits until a job is there or due.
void Reads::rest(const std::stop_token& stop, Moment until) {
    std::unique_lock held(mutex_);
    for (const ReadJob& job : jobs_) {
        until = std::min(until, job.at);
    }
    const std::size_t known = jobs_.size();
    changed_.wait_until(held, stop, until, [&] { return jobs_.size() != known || listSoon_; });
}

void Reads::poll(const std::stop_token& stop) {
    if (listSoon_.exchange(false)) {
        Planner_listSoon(polling_.planner, Steady::now());
    }
    bool bold = false;
    {
        const std::scoped_lock held(mutex_);
        bold = jobs_.empty();
    }
    const Poll next = Polling_next(polling_, session_.reader.clean, bold);
    if (next.kind != PollKind::kNothing) {
        runPoll(next);
        return;
    }
    const bool troubled = polling_.failures > 0;
    rest(stop, troubled ? std::min(next.at, Steady::now() + kSignOfLife) : next.at);
    if (troubled && desk_.hasAnswer()) {
        listSoon();
    }
}

void Reads::runPoll(Poll poll) {
    Reply entered = Line_connect(line_, Steady::now() + kPollConnect);
    if (entered.succeeded()) {
        entered = Line_enter(line_, Steady::now() + kPollTurn, false);
    }
    const Moment from = Steady::now();
    if (!entered.succeeded()) {
        if (poll.kind == PollKind::kListing) {
            line_.watch(NamedQuestion(std::string(Catalogue_listing().text) + "!"), entered, {});
            Polling_noteListing(polling_, entered.end);
        }
        Polling_charge(polling_, poll, {PollEnd::kNotAsked}, from);
        return;
    }
    session_.reader.clean = desk_.isClean();
    // Others may have left replies behind since it was planned.
    if (poll.kind == PollKind::kRoutes && !session_.reader.clean) {
        poll = Polling_next(polling_, false, true);
    }
    PollOutcome outcome;
    if (poll.kind != PollKind::kNothing) {
        asksUntil_ = Moment::max();
        outcome = Polling_run(polling_, poll);
        desk_.setClean(session_.reader.clean);
    }
    desk_.leave();
    if (poll.kind == PollKind::kNothing) {
        return;
    }
    const auto round = Polling_charge(polling_, poll, outcome, from);
    if (round && options_.roundDone) {
        options_.roundDone(std::chrono::duration<double>(*round).count());
    }
}

}  // namespace avoip::gw
