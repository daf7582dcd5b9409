// The log: who changed what, and what the daemon and devices did by themselves.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "gateway/state/share.hpp"
#include "gateway/store/store.hpp"

namespace avoip::gw {

/// An entry as the API shows it.
std::string LogEntry_json(const LogEntry& entry);

/// Stores entries, and tells of them as events. Throws StoreError.
void Journal_write(Store& store, SharedState& state, std::span<LogEntry> entries);

/// Writes entries that come from where nobody may wait, many at a time, on a thread of its own.
/// When the disk is full they are lost; so are the oldest that wait when there are more than
/// kWaitingMax.
class Journal {
  public:
    static constexpr std::size_t kWaitingMax = 10'000;

    /// Also removes, at the beginning and every hour, what is older than `keepDays`.
    Journal(Store& store, SharedState& state, Clock clock, int keepDays);
    /// Writes what waits.
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    void add(LogEntry entry);

  private:
    void work();
    void trim() const;

    Store& store_;
    SharedState& state_;
    Clock clock_;
    std::chrono::days keep_;
    std::mutex mutex_;
    std::condition_variable news_;
    std::deque<LogEntry> waiting_;
    bool over_ = false;
    std::thread thread_;
};

}  // namespace avoip::gw
