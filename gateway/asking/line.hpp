// A connection to the console, and one question after the other on it. Commands on one connection
// run one after the other in the daemon, so each line has one purpose: what reads, one-way
// commands, one installation.
//
// A line keeps its connection for as long as it stands. Where an answer is missing on it, it is
// ended: what the daemon does behind that would wait for what it is still at work on.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "gateway/asking/desk.hpp"
#include "lib/client/questions.hpp"
#include "lib/client/reply.hpp"
#include "lib/frontend/connection.hpp"

namespace avoip::gw {

/// Where the console is.
struct ConsoleAddress {
    std::string host = "127.0.0.1";
    std::uint16_t port = AVOIP_CONSOLE_PORT;
};

/// Told of each question that was put, how it ended and how long that took.
using AskedWatch = std::function<void(const NamedQuestion& named, const Reply& reply, Span took)>;

struct Line {
    Desk& desk;
    const ConsoleAddress& address;
    const AskedWatch& watch;
    Connection connection = {};
};

/// Connects the line, unless its connection stands. A success, or End::kNoDaemon with the reason.
Reply Line_connect(Line& line, Moment until);

/// Takes the turn for the line, which is connected before unless its connection stands: a daemon
/// that is not there keeps nobody from the turn. A success when the turn is taken, and has to be
/// left; else End::kNoDaemon or End::kNoTurn with the reason.
Reply Line_enter(Line& line, Moment until, bool passes);

/// How long a question may take.
struct Patience {
    Moment putUntil = {};  ///< to be put, when something is owed to somebody
    std::chrono::milliseconds answer{0};
    std::chrono::milliseconds marker{0};  ///< when to ask with a marker whether it was missed
};

/// Asks within the turn.
Reply Line_ask(Line& line, const NamedQuestion& named, const Patience& patience);

/// Waits for what comes of a question that was put on this line, until `until` or the end of the
/// connection.
Came Line_await(const Line& line, const Ticket& ticket, Moment until);

/// The reply that a ticket with an answer holds.
Reply Line_reply(const Line& line, const NamedQuestion& named, Ticket& ticket);

}  // namespace avoip::gw
