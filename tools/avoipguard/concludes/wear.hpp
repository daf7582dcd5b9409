// How worn the daemon is: what ended connections, failed uploads and other kept behaviours have
// used up for good of what it cannot have without end. A restart gives all of it back, and nothing
// else counts here: what a fresh daemon takes up, and what front ends that stand use, is no wear.
#pragma once

#include <cstddef>
#include <string_view>

#include "avoipguard/sees/bounds.hpp"

namespace avoip::guard {

/// What the daemon takes up at one moment.
struct Use {
    std::size_t descriptors = 0;  ///< without those of connections that stand
    std::size_t connections = 0;  ///< that stand, a descriptor each
    std::size_t mappings = 0;
    std::size_t size_bytes = 0;      ///< of address space, all of it
    std::size_t private_bytes = 0;   ///< of address space that can be written and is not shared
    std::size_t resident_bytes = 0;  ///< of real memory that is not shared
};

struct Wear {
    std::string_view what;  ///< of which the most is used up, in the plural
    int percent = 0;
};

/// The worst wear since the daemon took up what `fresh` says.
Wear Wear_worst(const Use& fresh, const Use& now, const Bounds& bounds);

}  // namespace avoip::guard
