// The answer segment as the front end sees it: shared memory with a fixed key that holds "end\r\n"
// and behind it the latest answer up to a zero byte.
//
// Reading follows the front end's habit: clear the prefix, send a command, look until the prefix
// stands there again. The key means the segment of the calling thread's IPC namespace.
#pragma once

#include <sys/shm.h>

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "bed/console.hpp"
#include "bed/wait.hpp"

namespace bed {

inline constexpr key_t kSegmentKey = 0x12345678;
inline constexpr std::string_view kAnswerPrefix = "end\r\n";

class Segment {
  public:
    /// Makes a segment of this size, zeroed, where there is none yet.
    static void create(std::size_t size);
    /// Removes the segment; who is attached to it keeps its memory.
    static void remove();
    static bool exists();

    /// Attaches to the segment, waiting until there is one. Another key is for a stand-in that runs
    /// beside the daemon.
    explicit Segment(key_t key = kSegmentKey);
    ~Segment();

    Segment(const Segment&) = delete;
    Segment& operator=(const Segment&) = delete;

    /// Zeroes the prefix; only an answer that is posted from now on is seen.
    void clear();
    /// Whether an answer has been posted since the prefix was cleared.
    bool hasAnswer() const;
    /// Waits for an answer; returns the text behind the prefix.
    std::string awaitAnswer(std::chrono::milliseconds patience = kPatience) const;
    /// The usual round trip: clear, send, await.
    std::string ask(Console& console, std::string_view line);

    /// The attached memory, to the end of its last page.
    std::span<char> bytes() const { return bytes_; }
    /// What the system says about it: size as asked for, permissions, number of attachments.
    shmid_ds status() const;

  private:
    int id_ = -1;
    std::span<char> bytes_;
};

}  // namespace bed
