// The three ways in which a request operation deals with replies. Each runs the common start of
// protocol/request.hpp first; a client that skips requests makes each return 0 at once.
//
// Replies are datagrams of at most 1,500 bytes on the client's socket, from any sender. The receive
// buffer is zeroed once per request, and a reply is read up to its first zero byte, so a short
// datagram keeps the tail of a longer one before it (kept: reply-tail).
#pragma once

#include <cstdint>
#include <functional>

#include "base/json.hpp"
#include "protocol/request.hpp"

/// Reads an accepted reply, which it owns from then on.
/// @return 0, or a negative value when it lacks what was asked for
using ReplyReader = std::function<std::int32_t(JsonTree reply)>;

/// What becomes of a datagram whose "ack" cannot be read.
enum class Unreadable { kIsSkipped, kEndsRequest };

struct SingleReply {
    int timeout_s;
    ReplyReader read;
    /// Print every datagram that is received.
    bool traced = false;
    Unreadable unreadable = Unreadable::kIsSkipped;
};

/// Sends and waits for nothing. @return 0 when the datagram has left, -1 otherwise
std::int32_t Protocol_client_oneWay(ProtocolClient* client, const Request& request);

/// Sends and waits for one reply. The first readable ack decides: a foreign or failed one ends the
/// request, whatever comes after it (kept: first-ack-decides).
/// @return what the reader returns for the reply; -1 when no reply came within the time-out, which
///         starts anew at each wait, when the ack did not match, or when the request was not sent
std::int32_t Protocol_client_singleReply(ProtocolClient* client, const Request& request,
                                         const SingleReply& reply);

struct Collection {
    /// How long the line must be silent, in milliseconds, for the collecting to end.
    std::int32_t idleTimeout_ms;
    /// Stores a reply, which it owns, as number `index`. @return false when it is to be skipped
    /// after all: the next one then has the same number
    std::function<bool(JsonTree reply, std::uint32_t index)> take;
};

/// Sends and takes every matching reply until the line is silent. Other datagrams are skipped; they
/// start the time-out anew as well.
/// @param count  receives the number of replies taken; untouched when nothing was sent
/// @return 0 when the datagram has left (or requests are skipped), -1 otherwise
std::int32_t Protocol_client_collect(ProtocolClient* client, const Request& request,
                                     const Collection& collection, std::uint32_t* count);
