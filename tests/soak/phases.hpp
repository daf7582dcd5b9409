// The phases of a run. Each is drawn from a sequence of numbers of its own and ends with all
// accounts settled, so that nothing of it disturbs the next one.
#pragma once

#include <cstdint>

#include "bed/image_file.hpp"
#include "soak/soak.hpp"

namespace soak {

/// The firmware that is uploaded.
struct Images {
    bed::ImageFile small{{.size = 200'000}};
    /// More than the system takes in for a device that does not read.
    bed::ImageFile whole{{.size = bed::kWholeImage}};
    bed::ImageFile bad{{.magic = "none"}};
    bed::ImageFile forDecoders{{.name = "AVOIP-RX"}};
};

/// Runs phases in an order that the seed decides until the time is over.
void runPhases(Soak& soak, std::uint64_t seed, const Images& images);

}  // namespace soak
