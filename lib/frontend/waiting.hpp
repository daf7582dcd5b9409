// Time: deadlines on the monotonic clock, the clock of the lock file, and the growing pauses of a
// poll.
#pragma once

#include <time.h>

#include <cstdint>

namespace avoip {

/// A moment of the monotonic clock, in microseconds.
using Deadline = std::int64_t;

/// The moment `milliseconds` from now.
Deadline Deadline_in(std::int64_t milliseconds);

/// The microseconds until `deadline`, 0 when it has passed.
std::int64_t Deadline_left_us(Deadline deadline);

/// So many microseconds as the system takes them, whose members are narrower on 32-bit processors.
timespec Wait_timespec(std::int64_t time_us);

/// The milliseconds since the machine was started, its sleep included: the clock that every process
/// of a machine reads alike, which /proc/uptime shows in seconds.
std::int64_t BootClock_ms();

/// The pauses between the looks of a poll: short at first, so that a quick answer is seen quickly,
/// then longer, so that a slow one costs little.
struct Pauses {
    std::int64_t next_us = 50;
};

/// Sleeps for the next pause, at most until `deadline`. When `descriptor` is not negative, the
/// sleep ends early as soon as it is readable, ended or broken, and the result is true.
bool Pauses_sleep(Pauses& pauses, Deadline deadline, int descriptor);

}  // namespace avoip
