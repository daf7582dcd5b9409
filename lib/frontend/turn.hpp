// The turn of a front end: an exclusive lock on a file that all front ends share, since the answer
// segment holds one answer, with the notes that the file holds. The turn ends with the object, and
// with the process however it ends.
#pragma once

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/notes.hpp"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

class Turn {
  public:
    Turn() = default;
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { leave(); }

    /// Waits for the turn until `deadline`, and reads the notes. Gives AVOIP_OK; else, with a
    /// reason, AVOIP_NO_TURN, or what LockFile_open gives. A turn that is held stays.
    avoip_result take(Deadline deadline, Reason& reason);

    [[nodiscard]] bool isHeld() const { return descriptor_ >= 0; }

    /// What the lock file says. Changes count for others from save() on; the turn must be held.
    Notes& notes() { return notes_; }
    void save();

    /// Lets the next one have its turn.
    void leave();

  private:
    bool holdsNamedFile() const;
    void load();

    int descriptor_ = -1;
    Notes notes_;
};

}  // namespace avoip
