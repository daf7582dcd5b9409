// The devices' side of a benchmark: what was heard is counted, or answered at once.
#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "bed/namespaces.hpp"
#include "lib/base/descriptor.hpp"

namespace bench {

/// Hears requests and lets them lie until they are counted. Its queue holds about 50,000.
class Listener {
  public:
    explicit Listener(const bed::Namespaces& namespaces);

    /// How many requests have come since the last call; takes them away. Whoever sent them has
    /// them delivered before the send returns, so none is still under way.
    std::size_t count() const;

  private:
    avoip::Descriptor socket_;
};

/// Sends all its replies, as fast as the system takes them, to whoever sends a request.
class Responder {
  public:
    Responder(const bed::Namespaces& namespaces, std::vector<std::string> replies);

    /// When the last reply to the last request was on its way, on the clock of now_us().
    double lastSent_us() const { return lastSent_us_.load(); }
    /// What the devices took for the last request themselves, from its receipt to the last reply.
    double ownTime_us() const { return ownTime_us_.load(); }

  private:
    void answerAll(const std::stop_token& stop);

    avoip::Descriptor socket_;
    std::vector<std::string> replies_;
    std::atomic<double> lastSent_us_{0};
    std::atomic<double> ownTime_us_{0};
    std::jthread thread_;
};

/// The single-reply command that benchmarks use, and the device's reply to it.
inline constexpr const char* kSingleReplyLine = "matrix get RX-0001!";
std::string routeReply();

/// The replies to discovery of so many encoders.
std::vector<std::string> deviceReplies(int count);

}  // namespace bench
