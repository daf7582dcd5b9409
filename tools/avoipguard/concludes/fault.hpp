// What is wrong, and what would mend it. Pure: what was seen goes in, the reason comes out.
#pragma once

#include <optional>
#include <string>

#include "avoipguard/concludes/seen.hpp"

namespace avoip::guard {

enum class Cure {
    kRestart,  ///< a new daemon would work
    kOutside,  ///< something outside of the daemon has to change; then the same one works again
};

struct Fault {
    /// One sentence or two: what is wrong and, where a restart does not mend it, what does.
    std::string reason;
    Cure cure = Cure::kRestart;
    /// Whether an upload goes on in spite of it, and is worth waiting for.
    bool sparesUploads = true;
};

/// What keeps a daemon that was started now from working; nothing when it would work.
struct Obstacle {
    std::string reason;
    /// Whether it is the control interface: that one comes with the system's start.
    bool isControl = false;
};
std::optional<Obstacle> Fault_obstacle(const Seen& seen);

/// What is wrong with a daemon that runs and whose console is there.
std::optional<Fault> Fault_find(const Seen& seen);

}  // namespace avoip::guard
