#include "avoipguard/sees/sockets.hpp"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "lib/base/descriptor.hpp"

namespace avoip::guard {

namespace {

constexpr std::uint32_t kListening = 1U << TCP_LISTEN;
/// One that the front end has closed and the daemon has not is the daemon's still.
constexpr std::uint32_t kStanding =
    1U << TCP_ESTABLISHED | 1U << TCP_SYN_RECV | 1U << TCP_CLOSE_WAIT;
constexpr std::uint32_t kAny = ~0U;

struct Request {
    nlmsghdr header{};
    inet_diag_req_v2 question{};
};

Request requestFor(std::uint8_t family, std::uint8_t protocol, std::uint32_t states) {
    Request request;
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.question.sdiag_family = family;
    request.question.sdiag_protocol = protocol;
    request.question.idiag_states = states;
    std::ranges::fill(request.question.id.idiag_cookie, INET_DIAG_NOCOOKIE);
    return request;
}

SocketSeen seenIn(const inet_diag_msg& message) {
    return {message.idiag_rqueue, message.idiag_uid, message.idiag_inode};
}

/// Reads one datagram of the answer: adds the sockets in it. Gives true at the answer's end, and
/// nothing when the question was refused.
std::optional<bool> readPart(const Descriptor& list, std::uint32_t states,
                             std::vector<SocketSeen>& found) {
    alignas(nlmsghdr) std::array<char, 32768> part;
    const ssize_t count = ::recv(list.get(), part.data(), part.size(), 0);
    if (count < 0) {
        return std::nullopt;
    }
    auto left = static_cast<unsigned>(count);
    for (const auto* header = reinterpret_cast<const nlmsghdr*>(part.data());
         NLMSG_OK(header, left); header = NLMSG_NEXT(header, left)) {
        if (header->nlmsg_type == NLMSG_DONE) {
            return true;
        }
        if (header->nlmsg_type != SOCK_DIAG_BY_FAMILY) {
            return std::nullopt;
        }
        inet_diag_msg message{};
        std::memcpy(&message, NLMSG_DATA(header), sizeof message);
        if ((1U << message.idiag_state & states) != 0) {
            found.push_back(seenIn(message));
        }
        // The answer to a question for one socket has no end of its own.
        if ((header->nlmsg_flags & NLM_F_MULTI) == 0) {
            return true;
        }
    }
    return false;
}

/// Puts a question and adds what is answered; false when it was refused.
bool ask(const Request& request, std::vector<SocketSeen>& found) {
    const Descriptor list(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    if (::send(list.get(), &request, sizeof request, 0) < 0) {
        return false;
    }
    while (true) {
        const auto ended = readPart(list, request.question.idiag_states, found);
        if (!ended || *ended) {
            return ended.has_value();
        }
    }
}

std::optional<std::vector<SocketSeen>> askBothFamilies(std::uint8_t protocol, std::uint32_t states,
                                                       std::uint16_t localPort) {
    std::vector<SocketSeen> found;
    Request request = requestFor(AF_INET, protocol, states);
    request.question.id.idiag_sport = htons(localPort);
    if (!ask(request, found)) {
        return std::nullopt;
    }
    // A system without IPv6 refuses this one.
    request.question.sdiag_family = AF_INET6;
    ask(request, found);
    return found;
}

}  // namespace

std::optional<std::vector<SocketSeen>> Sockets_listeners(std::uint16_t port) {
    return askBothFamilies(IPPROTO_TCP, kListening, port);
}

std::optional<std::vector<SocketSeen>> Sockets_bound(std::uint16_t port) {
    return askBothFamilies(IPPROTO_UDP, kAny, port);
}

bool Sockets_canBind(int type, std::uint16_t port) {
    const Descriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    return ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
           errno != EADDRINUSE;
}

std::optional<std::vector<SocketSeen>> Sockets_connections(std::uint16_t localPort,
                                                           std::uint16_t remotePort) {
    std::vector<SocketSeen> found;
    Request request = requestFor(AF_INET, IPPROTO_TCP, kStanding);
    request.question.id.idiag_sport = htons(localPort);
    request.question.id.idiag_dport = htons(remotePort);
    return ask(request, found) ? std::optional(found) : std::nullopt;
}

std::optional<SocketSeen> Sockets_peer(std::uint16_t ownPort, std::uint16_t peerPort) {
    Request request = requestFor(AF_INET, IPPROTO_TCP, kStanding);
    request.header.nlmsg_flags = NLM_F_REQUEST;
    request.question.id.idiag_sport = htons(peerPort);
    request.question.id.idiag_dport = htons(ownPort);
    request.question.id.idiag_src[0] = htonl(INADDR_LOOPBACK);
    request.question.id.idiag_dst[0] = htonl(INADDR_LOOPBACK);
    std::vector<SocketSeen> found;
    // A listener is given where the connection itself is not there any more; it does not stand.
    return ask(request, found) && !found.empty() ? std::optional(found.front()) : std::nullopt;
}

}  // namespace avoip::guard
