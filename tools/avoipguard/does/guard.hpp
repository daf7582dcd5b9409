// The guard itself: one loop that looks, concludes and acts until it is told to end.
#pragma once

#include "avoipguard/options.hpp"

namespace avoip::guard {

/// Supervises the daemon until SIGTERM or SIGINT, which the daemon gets too. Gives the exit status.
int Guard_run(const Options& options);

}  // namespace avoip::guard
