// The answer segment as a front end sees it; avoip_frontend.h has the grammar of its bytes.
//
// The daemon writes into this memory while it is read here, so every access is atomic.
#pragma once

#include <cstddef>

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

class Segment {
  public:
    Segment() = default;
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;
    ~Segment();

    /// Attaches the segment for reading and writing. A daemon that has just begun to listen makes
    /// its segment a moment later, so a missing one is waited for, for a second at most and not
    /// beyond `deadline`. Gives AVOIP_OK, or AVOIP_NO_SEGMENT with a reason.
    avoip_result attach(Deadline deadline, Reason& reason);

    /// Overwrites the prefix, so that the next one to stand there belongs to a new answer.
    void clearPrefix();

    /// Whether the prefix stands. When it does, all of the answer can be read.
    [[nodiscard]] bool hasAnswer() const;

    /// A copy of the answer, NUL-terminated, to be released with free(); null without memory.
    [[nodiscard]] char* copyAnswer() const;

  private:
    char* address_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace avoip
