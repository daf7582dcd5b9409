#include "gateway/asking/line.hpp"

#include <algorithm>

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// How often a wait looks whether the connection still stands.
constexpr Span kLook = 20ms;

/// What an answer may be late behind the end of its connection.
constexpr Span kLastLook = 20ms;

Reason noReason() {
    return {};
}

Deadline deadlineOf(Moment moment) {
    return std::chrono::duration_cast<Span>(moment.time_since_epoch()).count();
}

/// Waits for an answer; asks with a marker when it is due.
Came awaitAnswer(Line& line, Ticket& ticket, const Patience& patience, Moment put) {
    const Moment until = put + patience.answer;
    Came came = Line_await(line, ticket, std::min(until, put + patience.marker));
    if (came == Came::kNothing && line.connection.stands() && Steady::now() < until) {
        line.desk.mark(ticket, line.connection);
        came = Line_await(line, ticket, until);
    }
    return came;
}

Reply overwritten(const NamedQuestion& named) {
    return {
        End::kOverwritten, named.text,
        "The daemon is done with the command, but another answer has overwritten the one to it. "
        "Whether it succeeded is not known."};
}

Reply noAnswer(Line& line, const NamedQuestion& named, const Patience& patience) {
    Reason reason = noReason();
    if (!line.connection.stands()) {
        Reason_set(reason, "The daemon has ended the connection without an answer.");
        return {End::kNoDaemon, named.text, reason.text};
    }
    line.connection.close();
    Reason_set(reason, "The daemon has not answered within %d ms.",
               static_cast<int>(patience.answer.count()));
    return {End::kNoAnswer, named.text, reason.text};
}

Reply askPut(Line& line, const NamedQuestion& named, const Patience& patience) {
    Ticket ticket{&named.question};
    Reason reason = noReason();
    const auto put = line.desk.put(ticket, line.connection, patience.putUntil, reason);
    if (put != AVOIP_OK) {
        return {Reply_end(put), named.text, reason.text};
    }
    switch (awaitAnswer(line, ticket, patience, Steady::now())) {
        case Came::kAnswer:
            line.desk.withdraw(ticket);
            return Line_reply(line, named, ticket);
        case Came::kMarker:
            line.desk.withdraw(ticket);
            return overwritten(named);
        case Came::kNothing:
            break;
    }
    line.desk.giveUp(ticket);
    return noAnswer(line, named, patience);
}

}  // namespace

Reply Line_connect(Line& line, Moment until) {
    Reason reason = noReason();
    const auto opened = line.connection.open(line.address.host.c_str(), line.address.port,
                                             deadlineOf(until), reason);
    return opened == AVOIP_OK ? Reply{} : Reply{Reply_end(opened), {}, reason.text};
}

Reply Line_enter(Line& line, Moment until, bool passes) {
    Reply reply = Line_connect(line, until);
    if (!reply.succeeded()) {
        return reply;
    }
    Reason reason = noReason();
    const auto entered = line.desk.enter(until, passes, reason);
    return entered == AVOIP_OK ? reply : Reply{Reply_end(entered), {}, reason.text};
}

Reply Line_ask(Line& line, const NamedQuestion& named, const Patience& patience) {
    const Moment began = Steady::now();
    Reply reply = askPut(line, named, patience);
    line.watch(named, reply, std::chrono::duration_cast<Span>(Steady::now() - began));
    return reply;
}

Came Line_await(const Line& line, const Ticket& ticket, Moment until) {
    Came came = Came::kNothing;
    bool stands = true;
    while (came == Came::kNothing && stands && Steady::now() < until) {
        came = line.desk.await(ticket, std::min(until, Steady::now() + kLook));
        stands = line.connection.stands() && !line.desk.isEnding();
    }
    // The daemon may have answered and then ended.
    return came == Came::kNothing && !stands ? line.desk.await(ticket, Steady::now() + kLastLook)
                                             : came;
}

Reply Line_reply(const Line& line, const NamedQuestion& named, Ticket& ticket) {
    Reply reply{End::kSuccess, named.text};
    Reply_takeAnswer(reply, named, std::move(ticket.answer), line.desk.room());
    return reply;
}

}  // namespace avoip::gw
