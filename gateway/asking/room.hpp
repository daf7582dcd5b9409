// The room itself: the desk, the thread that reads, the line of one-way commands and the lines of
// updates, and what they have in common. It begins to poll when it is made, and ends with the
// object.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stop_token>

#include "gateway/asking/asking.hpp"
#include "gateway/asking/reads.hpp"

namespace avoip::gw {

struct RoomOptions {
    ConsoleAddress console = {};
    PlannerOptions polling = {};
    Clock clock = Time_now;
    AskingWatch watch = {};
};

/// One-way commands go one after the other. A std::timed_mutex would do, but ThreadSanitizer does not
/// see its waits by the steady clock.
class SendersQueue {
  public:
    /// Waits for its turn until `until`; false when too many wait already, or it did not come. Who
    /// came in leaves again.
    bool enter(Moment until);
    void leave();

  private:
    std::mutex mutex_;
    std::condition_variable free_;
    bool taken_ = false;
    int waiting_ = 0;
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
    SendersQueue senders_;
    Line sendLine_;
    Reads reads_;
    Asking asking_;
};

}  // namespace avoip::gw
