#include "avoipguard/concludes/wear.hpp"

#include <algorithm>
#include <array>

namespace avoip::guard {

namespace {

std::size_t above(std::size_t larger, std::size_t smaller) {
    return larger - std::min(larger, smaller);
}

/// How much of `room` has been used up, in hundredths.
int percentOf(std::size_t used, std::size_t room) {
    const double share = static_cast<double>(used) / static_cast<double>(std::max(room, used));
    return used == 0 ? 0 : static_cast<int>(share * 100);
}

}  // namespace

Wear Wear_worst(const Use& fresh, const Use& now, const Bounds& bounds) {
    // The room that connections do not take up at the moment. Where they leave nearly none it is
    // not wear that is at fault, and a restart would not help.
    const std::size_t descriptors = above(bounds.descriptors, fresh.descriptors + now.connections);
    const std::size_t resident = above(now.resident_bytes, fresh.resident_bytes);
    const auto percent = [](std::size_t from, std::size_t to, std::size_t bound) {
        return percentOf(above(to, from), above(bound, from));
    };
    const std::array<Wear, 4> all{{
        {"descriptors", percentOf(above(now.descriptors, fresh.descriptors), descriptors)},
        {"mappings", percent(fresh.mappings, now.mappings, bounds.mappings)},
        {"addresses",
         std::max(percent(fresh.size_bytes, now.size_bytes, bounds.size_bytes),
                  percent(fresh.private_bytes, now.private_bytes, bounds.private_bytes))},
        // What is free now is the room that is left of it.
        {"memory",
         percentOf(resident, resident + std::min(bounds.free_bytes, kBoundless - resident))},
    }};
    return *std::ranges::max_element(all, {}, &Wear::percent);
}

}  // namespace avoip::guard
