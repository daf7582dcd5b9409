// What was read: how many answers, how many of them torn, and what that took, by the answers'
// sizes. Plain data, which may stand in memory that processes share.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "torn/answers.hpp"

namespace torn {

struct Tally {
    std::uint64_t reads = 0;
    std::uint64_t torn = 0;
    std::uint64_t bytes = 0;
    std::chrono::nanoseconds posting{};  // from the ask to the prefix
    std::chrono::nanoseconds copying{};

    Tally& operator+=(const Tally& other);
};

struct SizeClass {
    const char* name;
    std::size_t end;
};
inline constexpr std::array kSizeClasses{
    SizeClass{"0.1 to 1 KB", 1'000},
    SizeClass{"1 to 10 KB", 10'000},
    SizeClass{"10 to 100 KB", 100'000},
    SizeClass{"100 to 300 KB", kLargestAnswer + 1},
};

/// One tally for each size class.
using Tallies = std::array<Tally, kSizeClasses.size()>;

Tally& tallyFor(Tallies& tallies, std::size_t size);
Tallies& operator+=(Tallies& tallies, const Tallies& others);
Tally sumOf(const Tallies& tallies);

/// Prints a Markdown table, a row for each size class.
void printBySize(const Tallies& tallies);

}  // namespace torn
