// The answer segment as a front end sees it; avoip_frontend.h has the grammar of its bytes.
//
// The daemon writes into this memory while it is read here, so every access is atomic.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

/// The longest answer: the daemon's own room for one.
inline constexpr std::size_t kAnswerMax = 4'194'304;

class Segment {
  public:
    Segment() = default;
    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;
    ~Segment() { detach(); }

    /// Attaches the segment for reading and writing, anew when it was attached already. A daemon
    /// that has just begun to listen makes its segment a moment later, so a missing one is waited
    /// for, for a second at most and not beyond `deadline`. Gives AVOIP_OK, or AVOIP_NO_SEGMENT
    /// with a reason.
    avoip_result attach(Deadline deadline, Reason& reason);

    void detach();

    /// Overwrites the prefix, so that the next one to stand there belongs to a new answer.
    void clearPrefix();

    /// Whether the prefix stands. When it does, all of the answer can be read.
    [[nodiscard]] bool hasAnswer() const;

    /// A copy of the answer, NUL-terminated, to be released with free(); null without memory.
    /// Never more than the memory of the segment, nor than kAnswerMax bytes, whatever stands there.
    [[nodiscard]] char* copyAnswer() const;

    /// The longest answer that the segment has room for; one that is so long may have been cut.
    [[nodiscard]] std::size_t room() const;

  private:
    char* address_ = nullptr;
    std::size_t size_ = 0;
};

/// Whether there is a segment, and whose it is.
struct SegmentFacts {
    bool exists = false;
    uid_t owner = 0;
    gid_t group = 0;
};
SegmentFacts Segment_facts();

/// Explains that there is no segment; `error` is the error number that says so.
void Segment_explainAbsence(Reason& reason, int error);

}  // namespace avoip
