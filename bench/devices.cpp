#include "bench/devices.hpp"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <chrono>

#include "bed/device.hpp"
#include "bed/device_reply.hpp"
#include "bed/wait.hpp"
#include "bench/measure.hpp"

namespace bench {

namespace {

constexpr int kQueueBytes = 128 * 1024 * 1024;

}  // namespace

Listener::Listener(const bed::Namespaces& namespaces)
    : socket_(bed::openGroupSocket(namespaces, kQueueBytes)) {}

std::size_t Listener::count() const {
    std::size_t count = 0;
    char byte = 0;
    while (::recv(socket_.get(), &byte, 1, MSG_DONTWAIT) >= 0) {
        ++count;
    }
    return count;
}

Responder::Responder(const bed::Namespaces& namespaces, std::vector<std::string> replies)
    : socket_(bed::openGroupSocket(namespaces, kQueueBytes)),
      replies_(std::move(replies)),
      thread_([this](const std::stop_token& stop) { answerAll(stop); }) {}

void Responder::answerAll(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (!bed::awaitReadable(socket_.get(), std::chrono::milliseconds(50))) {
            continue;
        }
        std::array<char, 1500> request;
        sockaddr_in asker{};
        socklen_t size = sizeof asker;
        ::recvfrom(socket_.get(), request.data(), request.size(), 0,
                   reinterpret_cast<sockaddr*>(&asker), &size);
        const double begin = now_us();
        bed::sendBurst(socket_, asker, replies_);
        lastSent_us_ = now_us();
        ownTime_us_ = lastSent_us_ - begin;
    }
}

std::string routeReply() {
    return bed::replyText("matrix get", "success", "001122aabbcc", "RX-0001",
                          R"("rxsource":{"rxid":"RX-0001","txid":"TX-0001"})");
}

std::vector<std::string> deviceReplies(int count) {
    std::vector<std::string> replies;
    for (int i = 0; i < count; ++i) {
        replies.push_back(bed::deviceReply("TX-" + std::to_string(10'000 + i)));
    }
    return replies;
}

}  // namespace bench
