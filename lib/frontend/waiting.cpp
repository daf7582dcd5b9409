#include "lib/frontend/waiting.hpp"

#include <poll.h>

#include <algorithm>

namespace avoip {

namespace {

constexpr std::int64_t kLongestPauseUs = 4000;

std::int64_t now_us(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

}  // namespace

Deadline Deadline_in(std::int64_t milliseconds) {
    return now_us(CLOCK_MONOTONIC) + milliseconds * 1000;
}

std::int64_t Deadline_left_us(Deadline deadline) {
    return std::max<std::int64_t>(deadline - now_us(CLOCK_MONOTONIC), 0);
}

timespec Wait_timespec(std::int64_t time_us) {
    timespec time{};
    time.tv_sec = static_cast<decltype(time.tv_sec)>(time_us / 1000000);
    time.tv_nsec = static_cast<decltype(time.tv_nsec)>(time_us % 1000000 * 1000);
    return time;
}

std::int64_t BootClock_ms() {
    return now_us(CLOCK_BOOTTIME) / 1000;
}

bool Pauses_sleep(Pauses& pauses, Deadline deadline, int descriptor) {
    const std::int64_t pause_us = std::min(pauses.next_us, Deadline_left_us(deadline));
    pauses.next_us = std::min(pauses.next_us * 3 / 2, kLongestPauseUs);
    // poll() passes over a negative descriptor, which leaves a plain sleep.
    pollfd watched{descriptor, POLLIN, 0};
    const timespec limit = Wait_timespec(pause_us);
    return ::ppoll(&watched, 1, &limit, nullptr) > 0;
}

}  // namespace avoip
