// Answers that a writer and a reader in different processes know by their number alone.
//
// Each is a window of 0.1 to 300 KB into one pool of random bytes. Where it begins and how long it
// is comes from its number, so that a mixture of two answers equals neither of them: two bytes of
// different answers are the same by chance only, once in 255 times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace torn {

inline constexpr std::size_t kLargestAnswer = 300'000;

/// Answer number `number`, without a NUL. The first call makes the pool: before a fork(), so that
/// the processes share it.
std::string_view answerOf(std::uint64_t number);

}  // namespace torn
