#include "gateway/asking/room.hpp"

#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "gateway/asking/confirming.hpp"
#include "gateway/asking/updating.hpp"

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// More one-way commands do not wait.
constexpr int kMostSenders = 256;

/// How long the answer to a one-way command may take, which the daemon gives at once, and after
/// which time it is asked whether it was overwritten.
constexpr std::chrono::milliseconds kSendAnswer = 2s;
constexpr std::chrono::milliseconds kSendMarker = 100ms;

/// How often a read for somebody is begun at most.
constexpr int kRounds = 2;

/// What a read may take beyond its time, which ends with the question that is under way.
constexpr Span kGrace = 100ms;

std::string_view resultOf(End end) {
    switch (end) {
        case End::kSuccess:
            return "success";
        case End::kFailure:
            return "failure";
        case End::kRefused:
            return "refused";
        case End::kNoDaemon:
            return "no_daemon";
        case End::kNoTurn:
            return "no_turn";
        case End::kNoAnswer:
            return "no_answer";
        case End::kOverwritten:
            return "overwritten";
        case End::kUnreadable:
            return "unreadable";
        case End::kUnverified:
            return "unverified";
    }
    return "unverified";
}

bool isSending(const NamedQuestion& named) {
    return named.command != nullptr && named.command->exchange.kind == ExchangeKind::kSending;
}

Reply tooMany() {
    return {End::kNoTurn, {}, "Too many commands wait for the daemon. Try again."};
}

/// A batch of reads as a job that is done in one step.
struct ReadWork {
    std::vector<Request> reads;
    std::promise<Batch> done = {};
};

/// A confirmation as a job of many steps, and what is known of its end so far.
struct ConfirmWork {
    Confirming confirming;
    std::mutex mutex = {};
    std::condition_variable over = {};
    std::vector<Verdict> verdicts = {};
    bool isOver = false;

    void tell(bool last) {
        const std::scoped_lock held(mutex);
        verdicts = Confirming_verdicts(confirming);
        isOver = last;
        over.notify_all();
    }
};

}  // namespace

AskingRoom::AskingRoom(RoomOptions options, SharedState& state)
    : options_(std::move(options)),
      state_(state),
      watch_([this](const NamedQuestion& named, const Reply& reply, Span took) {
          note(named, reply, took);
      }),
      desk_(options_.watch.turnWaited),
      sendLine_{desk_, options_.console, watch_},
      reads_(desk_, options_.console, watch_, state,
             {options_.polling, options_.clock, options_.watch.roundDone}),
      asking_{
          [this](const Request& command, Moment until) { return send(command, until); },
          [this](const std::vector<Request>& reads, Moment until) { return read(reads, until); },
          [this](const std::vector<Request>& changes, Moment until) {
              return confirm(changes, until);
          },
          [this](const Request& request, const std::string& address,
                 const std::function<void()>& begun) { return update(request, address, begun); },
          [this] { reads_.listSoon(); },
          [this](Moment until) { list(until); }} {}

AskingRoom::~AskingRoom() {
    stop();
}

void AskingRoom::stop() {
    stop_.request_stop();
    desk_.end();
}

void AskingRoom::note(const NamedQuestion& named, const Reply& reply, Span took) {
    if (options_.watch.asked && named.command != nullptr && reply.end != End::kNoTurn) {
        options_.watch.asked(named.command->text, resultOf(reply.end),
                             std::chrono::duration<double>(took).count());
    }
    noteHealth(named, reply);
}

/// What an answer, or none, says about the daemon. Whether it can reach devices only a listing
/// says; where something else speaks against it, one is wanted.
void AskingRoom::noteHealth(const NamedQuestion& named, const Reply& reply) {
    const bool listing =
        named.command != nullptr && named.command->exchange.kind == ExchangeKind::kListing;
    const auto is = [&](DaemonState nowIs, const std::string& reason) {
        const Time now = options_.clock();
        state_.with([&](State& state) { State_daemonIs(state, nowIs, reason, now); });
    };
    if (reply.end == End::kNoDaemon) {
        is(DaemonState::kAbsent, reply.reason);
    } else if (listing && reply.succeeded()) {
        is(DaemonState::kOk, "");
    } else if (listing && reply.end == End::kNoAnswer) {
        is(DaemonState::kStopped, reply.reason);
    } else if (listing && reply.end == End::kUnreadable) {
        is(DaemonState::kUseless, reply.reason);
    } else if (listing && reply.end == End::kFailure) {
        is(DaemonState::kUseless,
           "The daemon answers, but it cannot reach the devices. Look at its output.");
    }
    const bool doubtful = reply.end == End::kNoDaemon || reply.end == End::kNoAnswer ||
                          (reply.end == End::kFailure && isSending(named));
    if (!listing && doubtful) {
        reads_.listSoon();
    }
}

Reply AskingRoom::send(const Request& command, Moment until) {
    Reply checked = Request_check(command);
    if (!checked.succeeded()) {
        return checked;
    }
    const NamedQuestion named(checked.text);
    Reply reply = tooMany();
    if (++senders_ <= kMostSenders) {
        const std::unique_lock line(sending_, until);
        reply = line.owns_lock() ? sendAlone(named, until) : tooMany();
    }
    --senders_;
    reply.text = checked.text;
    return reply;
}

/// With the line to itself.
Reply AskingRoom::sendAlone(const NamedQuestion& named, Moment until) {
    Reply entered = Line_enter(sendLine_, until, true);
    if (!entered.succeeded()) {
        note(named, entered, {});
        return entered;
    }
    Reply reply = Line_ask(sendLine_, named, {until, kSendAnswer, kSendMarker});
    desk_.leave();
    return reply;
}

Batch AskingRoom::read(const std::vector<Request>& reads, Moment until) {
    const auto work = std::make_shared<ReadWork>(ReadWork{reads});
    std::future<Batch> done = work->done.get_future();
    const auto step = [this, work](Session& session) -> std::optional<Moment> {
        session.reader.rounds = kRounds;
        Batch batch = Reader_read(session.reader, work->reads);
        Session_learn(session, state_, work->reads, batch, options_.clock());
        work->done.set_value(std::move(batch));
        return std::nullopt;
    };
    const auto fail = [work](const Reply& reply) { work->done.set_value({reply}); };
    if (!reads_.add({Steady::now(), until, step, fail})) {
        return {tooMany()};
    }
    if (done.wait_until(until + kGrace) != std::future_status::ready) {
        return {{End::kNoAnswer, {}, "The device has not answered in time."}};
    }
    return done.get();
}

void AskingRoom::list(Moment until) {
    const auto over = std::make_shared<std::promise<void>>();
    std::future<void> done = over->get_future();
    const auto step = [over](Session& session) -> std::optional<Moment> {
        Reader_list(session.reader, Catalogue_listing());
        over->set_value();
        return std::nullopt;
    };
    const auto fail = [over](const Reply&) { over->set_value(); };
    if (reads_.add({Steady::now(), until, step, fail})) {
        done.wait_until(until + kGrace);
    }
}

std::vector<Verdict> AskingRoom::confirm(const std::vector<Request>& changes, Moment until) {
    const auto work = std::make_shared<ConfirmWork>();
    work->confirming = Confirming_begin(changes);
    work->tell(false);
    if (!Confirming_next(work->confirming)) {
        return work->verdicts;
    }
    const Clocks clocks{Steady::now, options_.clock};
    const auto step = [this, work, clocks](Session& session) {
        Confirming_look(work->confirming, session, state_, clocks);
        const std::optional<Moment> next = Confirming_next(work->confirming);
        work->tell(!next);
        return next;
    };
    const auto fail = [work](const Reply&) { work->tell(true); };
    if (reads_.add({Steady::now(), until, step, fail})) {
        std::unique_lock held(work->mutex);
        work->over.wait_until(held, until, [&] { return work->isOver; });
    }
    const std::scoped_lock held(work->mutex);
    return work->verdicts;
}

Reply AskingRoom::update(const Request& request, const std::string& address,
                         const std::function<void()>& begun) {
    Line line{desk_, options_.console, watch_};
    return Update_run(line, reads_, request, address, begun, stop_.get_token());
}

}  // namespace avoip::gw
