// How much of everything the daemon may use up: limits of the system, of the process, and what is
// left of the memory.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <limits>

namespace avoip::guard {

inline constexpr std::size_t kBoundless = std::numeric_limits<std::size_t>::max();

struct Bounds {
    std::size_t descriptors = kBoundless;
    std::size_t mappings = kBoundless;
    std::size_t size_bytes = kBoundless;     ///< of address space, all of it
    std::size_t private_bytes = kBoundless;  ///< of address space that is not shared
    std::size_t free_bytes = kBoundless;     ///< real memory that can still be had
};

/// The bounds of a child of this process, which runs a program for the same processor.
Bounds Bounds_look(pid_t child);

}  // namespace avoip::guard
