#include "bed/console.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace bed {

namespace {

avoip::Descriptor tryToConnect(std::uint16_t port, const std::string& host) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    ::inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    avoip::Descriptor opened(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(opened.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        return opened;
    }
    if (errno != ECONNREFUSED) {
        throwSystemError("cannot connect to the console");
    }
    return {};
}

}  // namespace

Console::Console(std::uint16_t port, const std::string& address) {
    awaitCondition("a listener on port " + std::to_string(port), [&] {
        socket_ = tryToConnect(port, address);
        return socket_.get() >= 0;
    });
}

void Console::send(std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            throwSystemError("cannot send to the console");
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void Console::finishSending() {
    ::shutdown(socket_.get(), SHUT_WR);
}

void Console::reset() {
    const linger atOnce{1, 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket_.reset();
}

std::string Console::awaitClosed(std::chrono::milliseconds patience) {
    std::string received;
    while (awaitReadable(socket_.get(), patience)) {
        std::array<char, 4096> piece;
        const ssize_t count = ::recv(socket_.get(), piece.data(), piece.size(), 0);
        if (count == 0 || (count < 0 && errno == ECONNRESET)) {
            return received;
        }
        if (count < 0) {
            throwSystemError("cannot receive from the console");
        }
        received.append(piece.data(), static_cast<std::size_t>(count));
    }
    throw Error("the daemon does not end the connection; it sent: " + received);
}

bool Console::hasHeardNothing() const {
    return !awaitReadable(socket_.get(), std::chrono::milliseconds(0));
}

}  // namespace bed
