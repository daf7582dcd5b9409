// The turn of a front end: an exclusive lock on a file that all front ends share, since the answer
// segment holds one answer. The turn ends with the object, and with the process however it ends.
#pragma once

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

class Turn {
  public:
    Turn() = default;
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn();

    /// Waits for the turn until `deadline`. Gives AVOIP_OK, AVOIP_TIME_OUT or AVOIP_NO_LOCK, the
    /// last two with a reason.
    avoip_result take(Deadline deadline, Reason& reason);

  private:
    int descriptor_ = -1;
};

}  // namespace avoip
