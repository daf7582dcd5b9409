#include "bed/stand_in.hpp"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "bed/console.hpp"
#include "bed/wait.hpp"

namespace bed {

namespace {

avoip::Descriptor listenOn(std::uint16_t port) {
    avoip::Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener.get(), 128) != 0) {
        throwSystemError("the stand-in cannot listen");
    }
    return listener;
}

void store(char& byte, char value, std::memory_order order) {
    std::atomic_ref<char>(byte).store(value, order);
}

}  // namespace

StandIn::StandIn(Answers answers, std::size_t segmentSize)
    : answers_(std::move(answers)), listener_(listenOn(kConsolePort)) {
    if (segmentSize > 0) {
        if (!Segment::exists()) {
            Segment::create(segmentSize);
        }
        segment_.emplace();
    }
    thread_ = std::jthread([this] { listen(); });
}

StandIn::~StandIn() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
    endConnections();
    connections_.clear();
}

std::vector<std::string> StandIn::lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::size_t StandIn::connectionCount() const {
    const std::lock_guard lock(mutex_);
    return connections_.size();
}

void StandIn::endConnections() {
    const std::lock_guard lock(mutex_);
    for (const Connection& connection : connections_) {
        ::shutdown(connection.socket.get(), SHUT_RDWR);
    }
}

void StandIn::post(std::string_view answer, std::string_view prefix) {
    const std::span<char> bytes = segment_->bytes();
    const std::size_t room = bytes.size() - kAnswerPrefix.size();
    const std::size_t length = std::min(answer.size(), room);
    char* const text = bytes.data() + kAnswerPrefix.size();
    for (std::size_t i = 0; i < length; ++i) {
        store(text[i], answer[i], std::memory_order_relaxed);
    }
    if (length < room) {
        store(text[length], '\0', std::memory_order_relaxed);
    }
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        store(bytes[i], prefix[i], std::memory_order_release);
    }
}

void StandIn::listen() {
    while (true) {
        const int socket = ::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            return;
        }
        const std::lock_guard lock(mutex_);
        Connection& connection = connections_.emplace_back();
        connection.socket = avoip::Descriptor(socket);
        connection.thread = std::jthread([this, socket] { serve(socket); });
    }
}

void StandIn::serve(int socket) {
    std::string line;
    char byte = 0;
    while (::read(socket, &byte, 1) == 1) {
        line += byte;
        if (byte != '!') {
            continue;
        }
        {
            const std::lock_guard lock(mutex_);
            lines_.push_back(line);
        }
        if (const std::optional<std::string> answer = answers_(line); answer.has_value()) {
            post(*answer);
        }
        line.clear();
    }
}

}  // namespace bed
