#include "load/ear.hpp"

#include <linux/sock_diag.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "bed/device.hpp"
#include "bed/wait.hpp"
#include "load/bed.hpp"

namespace load {

namespace {

constexpr int kQueueBytes = 256 * 1024 * 1024;
constexpr std::size_t kBatch = 256;

/// How many datagrams found no room in the socket's queue.
std::size_t overflows(const avoip::Descriptor& socket) {
    std::array<std::uint32_t, SK_MEMINFO_VARS> facts{};
    socklen_t size = sizeof facts;
    ::getsockopt(socket.get(), SOL_SOCKET, SO_MEMINFO, facts.data(), &size);
    return facts[SK_MEMINFO_DROPS];
}

/// A socket that never keeps its reader waiting for more than a second.
avoip::Descriptor openQueue(const bed::Namespaces& namespaces) {
    avoip::Descriptor opened = bed::openGroupSocket(namespaces, kQueueBytes);
    const timeval silence{1, 0};
    if (::setsockopt(opened.get(), SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence) != 0) {
        bed::throwSystemError("no bound to the wait for a request");
    }
    return opened;
}

/// Buffers for many datagrams at once.
class Batch {
  public:
    Batch() {
        for (std::size_t i = 0; i < kBatch; ++i) {
            parts_[i] = {texts_[i].data(), texts_[i].size()};
            messages_[i].msg_hdr.msg_iov = &parts_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
        }
    }

    /// Waits for one at least; 0 after a second of silence.
    std::size_t receive(const avoip::Descriptor& socket) {
        const int count =
            ::recvmmsg(socket.get(), messages_.data(), kBatch, MSG_WAITFORONE, nullptr);
        return static_cast<std::size_t>(std::max(count, 0));
    }

    std::string_view text(std::size_t i) const { return {texts_[i].data(), messages_[i].msg_len}; }

  private:
    std::array<std::array<char, 256>, kBatch> texts_;
    std::array<iovec, kBatch> parts_{};
    std::array<mmsghdr, kBatch> messages_{};
};

}  // namespace

Ear::Ear(const bed::Namespaces& namespaces, std::size_t commands)
    : socket_(openQueue(namespaces)),
      heard_(commands),
      listener_([this](const std::stop_token& finishing) { listen(finishing); }) {}

std::string Ear::finish(std::size_t sent) {
    listener_.request_stop();
    listener_.join();
    heard_.resize(std::min(heard_.size(), sent));
    const auto never = std::ranges::count(heard_, 0);
    const auto once = std::ranges::count(heard_, 1);
    std::string lost;
    addLoss(lost, static_cast<std::size_t>(never), "requests never heard");
    addLoss(lost, heard_.size() - static_cast<std::size_t>(never + once), "heard more than once");
    addLoss(lost, strangers_, "of another text");
    addLoss(lost, overflows(socket_), "for which the listener itself had no room");
    return lost;
}

void Ear::listen(const std::stop_token& finishing) {
    Batch batch;
    std::size_t count = 0;
    bool isFinishing = false;
    do {
        // Looked at first: the silence that ends this has begun behind the wish to finish.
        isFinishing = finishing.stop_requested();
        count = batch.receive(socket_);
        for (std::size_t i = 0; i < count; ++i) {
            take(batch.text(i));
        }
    } while (count > 0 || !isFinishing);
}

void Ear::take(std::string_view text) {
    // Where the identity's number begins; each request has it in the same place.
    static const std::string kFirst = commandRequest(0);
    static const std::size_t kDigits = kFirst.find('0', kFirst.find(R"("id":)"));
    std::size_t number = heard_.size();
    std::from_chars(text.data() + std::min(kDigits, text.size()), text.data() + text.size(),
                    number);
    if (number < heard_.size() && text == commandRequest(number)) {
        heard_[number] = std::max(heard_[number], static_cast<std::uint8_t>(heard_[number] + 1));
    } else {
        ++strangers_;
    }
}

}  // namespace load
