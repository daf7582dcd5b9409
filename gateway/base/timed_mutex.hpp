// A mutex that is waited for until a moment.
//
// std::timed_mutex would do, but ThreadSanitizer does not follow its waits by the steady clock, and
// takes each unlock behind them for a fault.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace avoip::gw {

/// For std::unique_lock with a moment: std::unique_lock held(mutex, until).
class TimedMutex {
  public:
    // NOLINTNEXTLINE(readability-identifier-naming): std::unique_lock calls it so
    bool try_lock_until(std::chrono::steady_clock::time_point until) {
        std::unique_lock held(mutex_);
        const bool isOurs = free_.wait_until(held, until, [this] { return !taken_; });
        taken_ = taken_ || isOurs;
        return isOurs;
    }

    void unlock() {
        const std::scoped_lock held(mutex_);
        taken_ = false;
        free_.notify_one();
    }

  private:
    std::mutex mutex_;
    std::condition_variable free_;
    bool taken_ = false;
};

}  // namespace avoip::gw
