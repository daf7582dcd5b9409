#include "lib/frontend/connection.hpp"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace avoip {

namespace {

/// Waits for `events` on `descriptor` until `deadline`.
bool waitFor(int descriptor, short events, Deadline deadline) {
    pollfd watched{descriptor, events, 0};
    int ready = 0;
    do {
        const std::int64_t left_us = Deadline_left_us(deadline);
        const timespec limit{left_us / 1000000, left_us % 1000000 * 1000};
        ready = ::ppoll(&watched, 1, &limit, nullptr);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

/// Connects a non-blocking socket; 0, or the error that says why not.
int connectUntil(int descriptor, const sockaddr_in& address, Deadline deadline) {
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS && errno != EINTR) {
        return errno;
    }
    if (!waitFor(descriptor, POLLOUT, deadline)) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

/// Turns a name or a dotted address into an address; 0, or getaddrinfo()'s error.
int resolve(const char* host, sockaddr_in& address) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host, nullptr, &hints, &found);
    if (error == 0) {
        std::memcpy(&address, found->ai_addr, sizeof address);
        ::freeaddrinfo(found);
    }
    return error;
}

}  // namespace

avoip_result Connection::open(const char* host, std::uint16_t port, Deadline deadline,
                              Reason& reason) {
    if (stands()) {
        return AVOIP_OK;
    }
    close();
    sockaddr_in address{};
    if (const int error = resolve(host, address); error != 0) {
        Reason_set(reason, "The host %s is not known (%s). Use 127.0.0.1 for this machine.", host,
                   ::gai_strerror(error));
        return AVOIP_NO_DAEMON;
    }
    address.sin_port = htons(port);
    socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int error = socket_ < 0 ? errno : connectUntil(socket_, address, deadline);
    if (error != 0) {
        close();
        Reason_set(reason,
                   "No daemon at %s port %u (%s). Start avoipd, or correct the host and the port.",
                   host, unsigned{port}, std::strerror(error));
        return AVOIP_NO_DAEMON;
    }
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return AVOIP_OK;
}

bool Connection::send(const char* text, Deadline deadline) {
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t sent = ::send(socket_, text, left, MSG_NOSIGNAL);
        if (sent > 0) {
            text += sent;
            left -= static_cast<std::size_t>(sent);
        } else if (errno == EAGAIN) {
            if (!waitFor(socket_, POLLOUT, deadline)) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool Connection::stands() const {
    char byte = 0;
    return socket_ >= 0 && ::recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 &&
           (errno == EAGAIN || errno == EINTR);
}

void Connection::close() {
    if (socket_ >= 0) {
        ::close(socket_);
        socket_ = -1;
    }
}

}  // namespace avoip
