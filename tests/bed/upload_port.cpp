#include "bed/upload_port.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

namespace bed {

std::string Upload::receive(std::size_t count) {
    std::string received;
    std::array<char, 65536> piece;
    while (received.size() < count) {
        if (!awaitReadable(socket_.get())) {
            throw Error("the device has received only " + std::to_string(received.size()) +
                        " bytes, and neither more nor the end");
        }
        const std::size_t room = std::min(piece.size(), count - received.size());
        const ssize_t got = ::recv(socket_.get(), piece.data(), room, 0);
        if (got == 0 || (got < 0 && errno == ECONNRESET)) {
            break;
        }
        if (got < 0) {
            throwSystemError("the device cannot receive the upload");
        }
        received.append(piece.data(), static_cast<std::size_t>(got));
    }
    return received;
}

std::string Upload::receiveAll() {
    return receive(std::numeric_limits<std::size_t>::max());
}

bool Upload::hasHeardNothing() const {
    return !awaitReadable(socket_.get(), std::chrono::milliseconds(0));
}

void Upload::send(std::string_view text) {
    if (::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(text.size())) {
        throwSystemError("the device cannot reply to the upload");
    }
}

void Upload::reset() {
    const linger atOnce{1, 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket_.reset();
}

UploadPort::UploadPort(const std::string& address, std::uint16_t port)
    : listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr.s_addr = ::inet_addr(address.c_str());
    if (::bind(listening_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 ||
        ::listen(listening_.get(), 8) != 0) {
        throwSystemError("the device cannot listen on " + address);
    }
}

Upload UploadPort::accept() const {
    if (!hasConnection(kPatience)) {
        throw Error("nobody connects to the device");
    }
    avoip::Descriptor accepted(::accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (accepted.get() < 0) {
        throwSystemError("the device cannot accept");
    }
    return Upload(std::move(accepted));
}

bool UploadPort::hasConnection(std::chrono::milliseconds patience) const {
    return awaitReadable(listening_.get(), patience);
}

std::string chunkStream(std::string_view kinds, std::string_view payload) {
    constexpr std::size_t kPieceMax = 4096;
    std::string stream;
    for (const char kind : kinds) {
        const std::string_view data = payload.substr(0, kPieceMax);
        payload.remove_prefix(data.size());
        stream +=
            {'$', kind, static_cast<char>(data.size() & 0xFF), static_cast<char>(data.size() >> 8)};
        stream += data;
    }
    if (!payload.empty()) {
        throw Error("more payload than chunks");
    }
    return stream;
}

}  // namespace bed
