// The room itself: the desk, the thread that reads, the line of one-way commands and the lines of
// updates, and what they have in common. It begins to poll when it is made, and ends with the
// object.
#pragma once

#include <atomic>
#include <stop_token>

#include "gateway/asking/asking.hpp"
#include "gateway/asking/reads.hpp"
#include "gateway/base/timed_mutex.hpp"

namespace avoip::gw {

struct RoomOptions {
    ConsoleAddress console = {};
    PlannerOptions polling = {};
    Clock clock = Time_now;
    AskingWatch watch = {};
};

class AskingRoom {
  public:
    AskingRoom(RoomOptions options, SharedState& state);
    ~AskingRoom();
    AskingRoom(const AskingRoom&) = delete;
    AskingRoom& operator=(const AskingRoom&) = delete;

    /// For operations. Nothing of it may be under way any more when the room ends.
    const Asking& asking() const { return asking_; }

    /// Lets everything end that is under way, and asks nothing any more.
    void stop();

  private:
    void note(const NamedQuestion& named, const Reply& reply, Span took);
    void noteHealth(const NamedQuestion& named, const Reply& reply);
    Reply send(const Request& command, Moment until);
    Reply sendAlone(const NamedQuestion& named, Moment until);
    Batch read(const std::vector<Request>& reads, Moment until);
    void list(Moment until);
    std::vector<Verdict> confirm(const std::vector<Request>& changes, Moment until);
    Reply update(const Request& request, const std::string& address,
                 const std::function<void()>& begun);

    RoomOptions options_;
    SharedState& state_;
    AskedWatch watch_;
    std::stop_source stop_;
    Desk desk_;
    TimedMutex sending_;
    std::atomic<int> senders_ = 0;
    Line sendLine_;
    Reads reads_;
    Asking asking_;
};

}  // namespace avoip::gw
