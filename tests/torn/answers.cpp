#include "torn/answers.hpp"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

namespace torn {

namespace {

constexpr double kSmallest = 100;
constexpr std::uint64_t kSeed = 20'240'601;
constexpr std::size_t kPoolSize = std::size_t{4} * 1024 * 1024;

std::string makePool() {
    std::mt19937_64 random(kSeed);
    std::uniform_int_distribution<int> notNul(1, 255);
    std::string pool(kPoolSize, '\0');
    std::ranges::generate(pool, [&] { return static_cast<char>(notNul(random)); });
    return pool;
}

/// SplitMix64: 64 random bits for each number.
std::uint64_t scatter(std::uint64_t number) {
    std::uint64_t bits = kSeed + number * 0x9E3779B97F4A7C15U;
    bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EBU;
    return bits ^ (bits >> 31U);
}

}  // namespace

std::string_view answerOf(std::uint64_t number) {
    static const std::string pool = makePool();
    constexpr double kGrowth = static_cast<double>(kLargestAnswer) / kSmallest;
    const std::uint64_t bits = scatter(number);
    // As many of each order of magnitude.
    const double exponent = static_cast<double>(bits >> 32U) / 4294967296.0;
    const auto size = static_cast<std::size_t>(kSmallest * std::pow(kGrowth, exponent));
    const std::size_t begin = (bits & 0xFFFFFFFFU) % (kPoolSize - size);
    return std::string_view(pool).substr(begin, size);
}

}  // namespace torn
