#include "torn/tally.hpp"

#include <algorithm>
#include <cstdio>

namespace torn {

Tally& Tally::operator+=(const Tally& other) {
    reads += other.reads;
    torn += other.torn;
    bytes += other.bytes;
    posting += other.posting;
    copying += other.copying;
    return *this;
}

Tally& tallyFor(Tallies& tallies, std::size_t size) {
    const auto* const found =
        std::ranges::find_if(kSizeClasses, [size](const auto& some) { return size < some.end; });
    return tallies.at(static_cast<std::size_t>(found - kSizeClasses.begin()));
}

Tallies& operator+=(Tallies& tallies, const Tallies& others) {
    for (std::size_t i = 0; i < tallies.size(); ++i) {
        tallies.at(i) += others.at(i);
    }
    return tallies;
}

Tally sumOf(const Tallies& tallies) {
    Tally sum;
    for (const Tally& tally : tallies) {
        sum += tally;
    }
    return sum;
}

void printBySize(const Tallies& tallies) {
    std::puts(
        "| size | reads | reads per second | ask to prefix, MB/s | copy, MB/s |\n"
        "|---|---:|---:|---:|---:|");
    for (std::size_t i = 0; i < tallies.size(); ++i) {
        const Tally& tally = tallies.at(i);
        const double posting_us = std::chrono::duration<double, std::micro>(tally.posting).count();
        const double copying_us = std::chrono::duration<double, std::micro>(tally.copying).count();
        const auto bytes = static_cast<double>(tally.bytes);
        std::printf("| %s | %ju | %.0f | %.0f | %.0f |\n", kSizeClasses.at(i).name,
                    std::uintmax_t{tally.reads},
                    static_cast<double>(tally.reads) * 1e6 / (posting_us + copying_us),
                    bytes / posting_us, bytes / copying_us);
    }
}

}  // namespace torn
