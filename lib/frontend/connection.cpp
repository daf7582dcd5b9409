#include "lib/frontend/connection.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lib/frontend/resolve.hpp"
#include "lib/frontend/sockets.hpp"

namespace avoip {

namespace {

// As long as a daemon takes to be started again.
constexpr std::int64_t kRestartMs = 2000;

/// Waits for `events` on `descriptor` until `deadline`.
bool waitFor(int descriptor, short events, Deadline deadline) {
    pollfd watched{descriptor, events, 0};
    int ready = 0;
    do {
        const timespec limit = Wait_timespec(Deadline_left_us(deadline));
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

/// A socket that is connected to `address`; -1, with the error that says why not.
int connectedSocket(const sockaddr_in& address, Deadline deadline, int& error) {
    const int made = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (made < 0) {
        error = errno;
        return -1;
    }
    error = connectUntil(made, address, deadline);
    if (error != 0) {
        ::close(made);
        return -1;
    }
    const int on = 1;
    ::setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return made;
}

}  // namespace

avoip_result Connection::open(const char* host, std::uint16_t port, Deadline deadline,
                              Reason& reason) {
    if (stands()) {
        return AVOIP_OK;
    }
    close();
    sockaddr_in address{};
    if (const auto found = Resolve_host(host, address, deadline, reason); found != AVOIP_OK) {
        return found;
    }
    address.sin_port = htons(port);
    const Deadline patience = std::min(deadline, Deadline_in(kRestartMs));
    int error = 0;
    Pauses pauses;
    while ((socket_ = connectedSocket(address, deadline, error)) < 0 && error == ECONNREFUSED &&
           Deadline_left_us(patience) > 0) {
        Pauses_sleep(pauses, patience, -1);
    }
    if (socket_ < 0) {
        Reason_set(reason,
                   "No daemon at %s port %u (%s). Start avoipd, or correct the host and the port.",
                   host, unsigned{port}, std::strerror(error));
        return AVOIP_NO_DAEMON;
    }
    daemon_ = Sockets_listener(port);
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
