// The thread that reads: everything that takes replies of devices out of the daemon's one socket
// goes through here, one after the other - what somebody wants to know, changes that are asked
// back, the opening discoveries of updates, and, when nobody wants anything, polls.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

#include "gateway/asking/line.hpp"
#include "gateway/asking/polling.hpp"

namespace avoip::gw {

/// Something to be read. Its steps are taken one after the other, each in a turn of its own, with
/// those of others between.
struct ReadJob {
    Moment at = {};     ///< not before
    Moment until = {};  ///< then it has failed
    /// Gives when to go on; nothing: it is done.
    std::function<std::optional<Moment>(Session& session)> step;
    /// Told, in place of further steps, why there are none.
    std::function<void(const Reply& reply)> fail;
};

struct ReadsOptions {
    PlannerOptions polling = {};
    Clock clock = Time_now;
    /// A round over all routes has taken so long; may be empty.
    std::function<void(double seconds)> roundDone = {};
};

class Reads {
  public:
    Reads(Desk& desk, const ConsoleAddress& address, const AskedWatch& watch, SharedState& state,
          ReadsOptions options);
    ~Reads();
    Reads(const Reads&) = delete;
    Reads& operator=(const Reads&) = delete;

    /// False when too many are waiting.
    bool add(ReadJob job);

    /// Wants a listing as soon as polling may.
    void listSoon();

  private:
    Reply ask(const Request& request);
    void run(const std::stop_token& stop);
    std::optional<ReadJob> takeDue();
    void runJob(ReadJob job);
    void runPoll(Poll poll);
    void poll(const std::stop_token& stop);
    void rest(const std::stop_token& stop, Moment until);

    Desk& desk_;
    SharedState& state_;
    ReadsOptions options_;
    Line line_;
    Session session_;
    Polling polling_;
    Moment asksUntil_ = {};
    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::list<ReadJob> jobs_;
    std::atomic<bool> listSoon_ = false;
    std::jthread thread_;
};

}  // namespace avoip::gw
