#include "firmware/tcp.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "base/output.hpp"
#include "base/wait.hpp"

namespace {

constexpr int kConnectTimeoutMs = 1000;
constexpr int kRetriesMax = 10;
constexpr useconds_t kRetryPauseUs = 5000;

std::string errorText(int error) {
    char room[128];
    // The GNU form returns the text, which need not be in the room.
    return ::strerror_r(error, room, sizeof room);
}

/// Prints `what`, "error:" and errno with its text: the form that most failures here share.
void printError(const char* what, const char* end) {
    const int error = errno;
    Output_print("%s error:%d %s%s", what, error, errorText(error).c_str(), end);
}

/// Waits for a connect that is under way. @return whether it has succeeded
bool awaitConnected(int socket) {
    const int ready = Wait_readableOrWritable(socket, kConnectTimeoutMs);
    const int error = errno;
    if (ready < 0) {
        Output_print("select error:%d %s,Sockfd=%d\n", error, errorText(error).c_str(), socket);
        return false;
    }
    if (ready == 0) {
        printError("connect timeout.", "\n");
        return false;
    }
    int outcome = 0;
    socklen_t length = sizeof outcome;
    ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &outcome, &length);
    if (outcome != 0) {
        Output_print("getsockopt SO_ERROR=%d errno:%d %s\n", outcome, error,
                     errorText(error).c_str());
        return false;
    }
    return true;
}

bool connectWithin(int socket, const sockaddr_in& address) {
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return true;
    }
    if (errno != EINPROGRESS) {
        printError("connect", "\n");
        return false;
    }
    return awaitConnected(socket);
}

/// The steps of a connect on an open socket. @return false when the socket is of no use
bool connectSocket(int socket, const char* ip, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    // A text that is no address leaves errno as it is, and the message shows it.
    errno = 0;
    if (::inet_pton(AF_INET, ip, &address.sin_addr) <= 0) {
        const int error = errno;
        Output_print("ip:%s inet_pton error:%d %s\n", ip, error, errorText(error).c_str());
        return false;
    }
    const int on = 1;
    if (::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) < 0) {
        Output_systemError("Setting SO_REUSEADDR error");
        return false;
    }
    const int flags = ::fcntl(socket, F_GETFL);
    if (flags < 0 || ::fcntl(socket, F_SETFL, flags | O_NONBLOCK) < 0) {
        printError("fcntl", "\n");
        return false;
    }
    const bool connected = connectWithin(socket, address);
    return ::fcntl(socket, F_SETFL, flags) >= 0 && connected;
}

}  // namespace

int Tcp_Connect(const char* ip, int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        printError("socket", "\n");
        return -1;
    }
    if (!connectSocket(socket, ip, port)) {
        ::close(socket);
        return -1;
    }
    return socket;
}

int Tcp_Send(int socket, const void* buffer, std::size_t length, int seconds) {
    if (Wait_writable(socket, seconds * 1000) < 1) {
        printError("select", "");
        return -1;
    }
    const auto* position = static_cast<const char*>(buffer);
    int retries = 0;
    while (length > 0) {
        const ssize_t sent = ::send(socket, position, length, 0);
        if (sent > 0) {
            position += sent;
            length -= static_cast<std::size_t>(sent);
            continue;
        }
        const bool isTransient = errno == EINTR || errno == EAGAIN;
        if (isTransient) {
            ::usleep(kRetryPauseUs);
            ++retries;
        }
        if (!isTransient || retries == kRetriesMax) {
            printError("send", "");
            return -1;
        }
    }
    return 0;
}

int Tcp_SendPiece(int socket, const void* piece, std::size_t length, int seconds) {
    const auto* position = static_cast<const char*>(piece);
    const int errorBefore = errno;
    for (int secondsLeft = seconds;; --secondsLeft) {
        const ssize_t sent = ::send(socket, position, length, MSG_DONTWAIT);
        if (std::cmp_equal(sent, length)) {
            return 0;
        }
        if (sent < 0 && errno != EAGAIN && errno != EINTR) {
            printError("send", "");
            return -1;
        }
        if (sent > 0) {
            position += sent;
            length -= static_cast<std::size_t>(sent);
            secondsLeft = seconds;
        }
        // A wait that runs out leaves errno as it is, and its message shows it.
        errno = errorBefore;
        const int ready = secondsLeft > 0 ? Wait_writable(socket, 1000) : -1;
        if (ready > 0) {
            return Tcp_Send(socket, position, length, seconds);
        }
        if (ready < 0) {
            printError("select", "");
            return -1;
        }
    }
}

int Tcp_Recv(int socket, void* buffer, std::size_t capacity, int seconds) {
    if (Wait_readable(socket, seconds * 1000) < 1) {
        printError("select", "");
        return -1;
    }
    const ssize_t got = ::recv(socket, buffer, capacity, 0);
    if (got <= 0) {
        printError("recv", "");
        return -1;
    }
    return static_cast<int>(got);
}
