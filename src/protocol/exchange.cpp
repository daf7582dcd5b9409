#include "protocol/exchange.hpp"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "base/output.hpp"
#include "base/wait.hpp"
#include "protocol/records.hpp"
#include "protocol/reply.hpp"

namespace {

constexpr std::size_t kReplySizeMax = 1500;

/// Holds the datagram received last. The byte behind it is never written and ends a full one.
using ReplyBuffer = std::array<char, kReplySizeMax + 1>;

/// Takes the next datagram: one that is there already, or else one that comes within the time. One
/// that another request takes in between does not count: the wait begins anew, so that no request
/// ever blocks in a receive. In a burst of replies none costs a wait.
/// @return false when the time has passed, the wait failed, or the receive failed (reported)
bool takeDatagram(ProtocolClient& client, ReplyBuffer& buffer, int timeout_ms) {
    do {
        const ClientSocket::Use use(client.socket);
        // Neither without a socket nor with a negative time-out is there anything to wait for.
        if (use.get() < 0 || timeout_ms < 0) {
            return false;
        }
        if (::recvfrom(use.get(), buffer.data(), kReplySizeMax, MSG_DONTWAIT, nullptr, nullptr) >=
            0) {
            return true;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            Output_systemError("devsearch_client_discover recvfrom()");
            return false;
        }
    } while (Wait_readable(client.socket.peek(), timeout_ms) > 0);
    return false;
}

/// The document of a datagram whose "ack" can be read, which is then in `ack`; null for any other.
JsonTree readable(const ReplyBuffer& buffer, ReplyAck& ack) {
    JsonTree reply = Reply_parse(buffer.data());
    if (reply != nullptr && Protocol_client_readAck(reply.get(), ack) < 0) {
        // kept: parser-leak
        Json_leaveUnreleased(std::exchange(reply, nullptr));
    }
    return reply;
}

bool answers(const ReplyAck& ack, const RequestRecord& record) {
    return ack.cmd() == record.cmd.view() && ack.status() == "success" &&
           ack.hostid() == record.hostid.view();
}

/// What a request keeps while it waits for replies.
struct Conversation {
    RequestRecord record;
    ReplyBuffer buffer{};
    ReplyAck ack{};
};

/// Sends the request.
/// @return the operation's result where no reply is to be waited for: 0 when requests are skipped,
///         -1 when it has failed
std::optional<std::int32_t> begin(ProtocolClient* client, const Request& request,
                                  RequestRecord& record) {
    switch (Protocol_client_startRequest(client, request, record)) {
        case Started::kSent:
            return std::nullopt;
        case Started::kSkipped:
            return 0;
        case Started::kFailed:
            break;
    }
    return -1;
}

}  // namespace

std::int32_t Protocol_client_oneWay(ProtocolClient* client, const Request& request) {
    RequestRecord record;
    return begin(client, request, record).value_or(0);
}

std::int32_t Protocol_client_singleReply(ProtocolClient* client, const Request& request,
                                         const SingleReply& reply) {
    Conversation talk;
    if (const auto ended = begin(client, request, talk.record)) {
        return *ended;
    }
    while (takeDatagram(*client, talk.buffer, reply.timeout_s * 1000)) {
        if (reply.traced) {
            Output_print("recv buf: %s\n", talk.buffer.data());
        }
        if (JsonTree document = readable(talk.buffer, talk.ack); document != nullptr) {
            return answers(talk.ack, talk.record) ? reply.read(std::move(document)) : -1;
        }
        if (reply.unreadable == Unreadable::kEndsRequest) {
            return -1;
        }
    }
    return -1;
}

std::int32_t Protocol_client_collect(ProtocolClient* client, const Request& request,
                                     const Collection& collection, std::uint32_t* count) {
    Conversation talk;
    if (const auto ended = begin(client, request, talk.record)) {
        return *ended;
    }
    std::uint32_t taken = 0;
    while (takeDatagram(*client, talk.buffer, collection.idleTimeout_ms)) {
        JsonTree document = readable(talk.buffer, talk.ack);
        if (document != nullptr && answers(talk.ack, talk.record) &&
            collection.take(std::move(document), taken)) {
            ++taken;
        }
    }
    *count = taken;
    return 0;
}
