// The guard itself: one loop that looks, concludes and acts until it is told to end.
#pragma once

#include "avoipguard/options.hpp"

namespace avoip::guard {

/// Makes the answer segment where none stands, or prints why it cannot. Gives the exit status.
int Guard_makeSegment();

/// Supervises the daemon until SIGTERM or SIGINT, which the daemon gets too. Gives the exit status.
int Guard_run(const Options& options);

}  // namespace avoip::guard
