// Numbers that a seed decides, the same on every machine: the standard's engine, but not its
// distributions, which each library makes in its own way.
#pragma once

#include <cstdint>
#include <random>

namespace soak {

class Random {
  public:
    /// A sequence of its own for each number of a round.
    Random(std::uint64_t seed, std::uint64_t round) {
        std::seed_seq sequence{seed, seed >> 32U, round};
        engine_.seed(sequence);
    }

    /// From 0 to one less than `end`.
    std::uint64_t below(std::uint64_t end) { return engine_() % end; }
    /// From `least` to `most`.
    std::uint64_t between(std::uint64_t least, std::uint64_t most) {
        return least + below(most - least + 1);
    }
    /// True so many times of a hundred.
    bool percent(std::uint64_t chance) { return below(100) < chance; }

  private:
    std::mt19937_64 engine_;
};

}  // namespace soak
