// The fleet at work: one thread, one poll loop.
#pragma once

#include <string>

#include "avoipsim/fleet.hpp"
#include "avoipsim/options.hpp"

namespace avoip::sim {

/// Serves the fleet until SIGINT or SIGTERM. Prints one line when it listens. The exit status of
/// the program: 0, or kExitFailure after a failure, which has been explained on standard error.
int Service_run(Fleet& fleet, const Options& options);

}  // namespace avoip::sim
