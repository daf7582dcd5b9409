#include "gateway/asking/updating.hpp"

#include <algorithm>
#include <future>
#include <memory>

#include "gateway/asking/uploads.hpp"

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// How long the opening discovery may have to wait for its place.
constexpr Span kPlace = 60s;

/// How long the turn is kept at most for it: it takes a second of silence, and a large fleet some
/// time to fall silent.
constexpr Span kDiscovery = 3s;

/// Between two looks: whether the upload has begun, and later whether it is over.
constexpr Span kLook = 20ms;
constexpr Span kPause = 100ms;

/// When to ask with a marker, after an upload is over without an answer, and where none was ever
/// seen; then after pauses that double.
constexpr Span kGoneProbe = 300ms;
constexpr Span kFirstProbe = 5s;
constexpr Span kLongestProbe = 30s;

/// How long a marker's turn, and its answer, are waited for.
constexpr Span kProbeTurn = 1s;
constexpr Span kProbeAnswer = 200ms;
constexpr Span kSweepTurn = 20ms;

/// An update that is under way.
struct Work {
    Line& line;
    const NamedQuestion& named;
    Ticket ticket;
    Moment until;
    bool uploading = false;  ///< was seen to upload
    Span probe = kFirstProbe;
    Moment probeDue = {};
};

Reply ended(const NamedQuestion& named, End end, const char* reason) {
    return {end, named.text, reason};
}

/// Puts the question, and keeps the turn until the upload has begun or the answer is there.
Reply open(Work& work) {
    Line& line = work.line;
    Reason reason{};
    const Moment now = Steady::now();
    const auto put = line.desk.put(work.ticket, line.connection, now + 1s, reason);
    if (put != AVOIP_OK) {
        return {Reply_end(put), work.named.text, reason.text};
    }
    while (Steady::now() < now + kDiscovery && !Uploads_to(work.ticket.uploadTo) &&
           line.connection.stands() &&
           line.desk.await(work.ticket, Steady::now() + kLook) == Came::kNothing) {
    }
    line.desk.shareNoMore(work.ticket);
    return {};
}

/// Carries the opening out among the reads.
Reply openAmongReads(Work& work, Reads& reads) {
    const auto promise = std::make_shared<std::promise<Reply>>();
    std::future<Reply> opened = promise->get_future();
    const Moment now = Steady::now();
    const bool added = reads.add({now, now + kPlace,
                                  [&work, promise](Session& session) -> std::optional<Moment> {
                                      session.reader.clean = false;
                                      promise->set_value(open(work));
                                      return std::nullopt;
                                  },
                                  [promise](const Reply& reply) { promise->set_value(reply); }});
    return added ? opened.get()
                 : ended(work.named, End::kNoTurn, "Too many questions wait for the daemon.");
}

/// When to ask with a marker next, given whether the daemon has a connection to the device now.
void noteUpload(Work& work, bool uploading, Moment now) {
    if (work.uploading && !uploading) {
        work.probe = kGoneProbe;
        work.probeDue = now + work.probe;
    }
    work.uploading = uploading;
}

/// In a turn: an answer that stands is taken, and with `marked` a marker is sent behind the update.
void look(Work& work, Span turn, bool marked) {
    Line& line = work.line;
    Reason reason{};
    if (line.desk.enter(Steady::now() + turn, true, reason) != AVOIP_OK) {
        return;
    }
    if (marked && line.desk.await(work.ticket, Steady::now()) == Came::kNothing) {
        line.desk.mark(work.ticket, line.connection);
        line.desk.await(work.ticket, Steady::now() + kProbeAnswer);
    }
    line.desk.leave();
}

/// Waits for the end of the update, while others have their turns.
Came awaitEnd(Work& work, const std::stop_token& stop) {
    work.probeDue = Steady::now() + work.probe;
    Came came = Came::kNothing;
    while (came == Came::kNothing && Steady::now() < work.until && !stop.stop_requested() &&
           work.line.connection.stands()) {
        came = work.line.desk.await(work.ticket, Steady::now() + kPause);
        if (came != Came::kNothing) {
            break;
        }
        const Moment now = Steady::now();
        noteUpload(work, Uploads_to(work.ticket.uploadTo), now);
        const bool due = !work.uploading && now >= work.probeDue;
        if (due) {
            work.probe = std::min(work.probe * 2, kLongestProbe);
            work.probeDue = now + work.probe;
        }
        if (due || work.line.desk.hasAnswer()) {
            look(work, due ? kProbeTurn : kSweepTurn, due);
        }
    }
    return work.line.desk.await(work.ticket, Steady::now());
}

/// What the update came to.
Reply finish(Work& work, Came came, const std::stop_token& stop) {
    Line& line = work.line;
    if (came == Came::kAnswer) {
        return Line_reply(line, work.named, work.ticket);
    }
    if (came == Came::kMarker) {
        return ended(work.named, End::kOverwritten,
                     "The daemon's answer to the update was overwritten by another.");
    }
    const bool stands = line.connection.stands();
    line.connection.close();
    if (stop.stop_requested()) {
        return ended(work.named, End::kNoAnswer, "The gateway was ended during the update.");
    }
    return stands
               ? ended(work.named, End::kNoAnswer, "The daemon has not ended the update in time.")
               : ended(work.named, End::kNoDaemon, "The daemon has ended during the update.");
}

}  // namespace

Reply Update_run(Line& line, Reads& reads, const Request& update, const std::string& address,
                 const std::function<void()>& begun, const std::stop_token& stop) {
    Reply checked = Request_check(update);
    if (checked.succeeded()) {
        checked = Line_connect(line, Steady::now() + 2s);
    }
    if (!checked.succeeded()) {
        return checked;
    }
    const Moment began = Steady::now();
    const NamedQuestion named(Request_check(update).text);
    Work work{line, named, Ticket{.question = &named.question},
              began + std::chrono::milliseconds(update.command->exchange.timeout_ms)};
    work.ticket.uploadTo = Uploads_address(address);
    Reply reply = openAmongReads(work, reads);
    if (reply.succeeded()) {
        begun();
        reply = finish(work, awaitEnd(work, stop), stop);
        line.desk.withdraw(work.ticket);
    }
    line.watch(named, reply, std::chrono::duration_cast<Span>(Steady::now() - began));
    return reply;
}

}  // namespace avoip::gw
