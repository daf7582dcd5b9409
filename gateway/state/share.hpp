// The state among threads: one lock, held for as long as something is looked up, taken over or
// rendered, and never while anybody waits.
#pragma once

#include <mutex>
#include <utility>

#include "gateway/state/state.hpp"

namespace avoip::gw {

class SharedState {
  public:
    explicit SharedState(State state) : state_(std::move(state)) {}

    /// Calls `act` with the state, and gives what it gives. Nothing in it may wait, and nothing
    /// that it gives may point into the state.
    template <class Act>
    auto with(Act act) {
        const std::scoped_lock held(mutex_);
        return act(state_);
    }

  private:
    std::mutex mutex_;
    State state_;
};

}  // namespace avoip::gw
