// What one call of a function returned, wrote, left open and took.
#pragma once

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iterator>

#include "capture_output.hpp"

struct CallOutcome {
    int result = 0;
    CapturedOutput said;
    /// Descriptors that were not there before.
    long leftOpen = 0;
    std::chrono::steady_clock::duration took{};
};

/// How many descriptors the process has, always one too many.
inline long openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

/// Calls, with errno 0 to begin with: some texts show the errno that was there before.
template <class Call>
CallOutcome outcomeOf(Call call) {
    CallOutcome outcome;
    const long before = openDescriptors();
    const auto start = std::chrono::steady_clock::now();
    outcome.said = captureOutput([&] {
        errno = 0;
        outcome.result = call();
    });
    outcome.took = std::chrono::steady_clock::now() - start;
    outcome.leftOpen = openDescriptors() - before;
    return outcome;
}
