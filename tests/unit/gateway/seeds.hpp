// How many seeds a test takes: some, or with AVOIP_TEST_TIMES in the environment so many times as
// many.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace avoip::gw {

inline std::uint64_t seeds(std::uint64_t usual) {
    const char* const times = std::getenv("AVOIP_TEST_TIMES");
    return usual * (times == nullptr ? 1 : std::strtoull(times, nullptr, 10));
}

}  // namespace avoip::gw
