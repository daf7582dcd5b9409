// A stand-in for the daemon, for tests of front ends: a console on port 6888 and an answer segment,
// with answers that the test makes up. It misbehaves when a test tells it to.
//
// Each connection has a thread of its own, as in the daemon, and calls the test's function there.
#pragma once

#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bed/segment.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

class StandIn {
  public:
    /// What to post for a line, which has its "!"; nothing for no answer.
    using Answers = std::function<std::optional<std::string>(const std::string& line)>;

    /// Listens, and makes a segment of `segmentSize` bytes where there is none; 0 makes none.
    explicit StandIn(Answers answers, std::size_t segmentSize = 65536);

    /// Ends the connections and stops to listen. The segment stays, as the daemon's does.
    ~StandIn();

    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    /// The lines that came so far, of all connections.
    std::vector<std::string> lines() const;
    /// How many connections there have been.
    std::size_t connectionCount() const;
    /// Ends all connections that stand.
    void endConnections();

    /// Posts an answer: the text and its NUL, then `prefix`, as the daemon does.
    void post(std::string_view answer, std::string_view prefix = kAnswerPrefix);

  private:
    struct Connection {
        avoip::Descriptor socket;
        std::jthread thread;
    };

    void listen();
    void serve(int socket);

    Answers answers_;
    avoip::Descriptor listener_;
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    std::list<Connection> connections_;
    std::optional<Segment> segment_;
    std::jthread thread_;
};

}  // namespace bed
