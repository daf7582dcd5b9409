// What the guard sees where everything is as it should be; tests of its conclusions change it.
#pragma once

#include "avoipguard/concludes/seen.hpp"

/// Everything in order, and a daemon that works.
inline avoip::guard::Seen seenWorking() {
    avoip::guard::Seen seen;
    seen.control = {true, true, "001122aabbcc", true, true, true};
    seen.runs = true;
    seen.daemon.hasConsole = true;
    seen.daemon.isProven = true;
    seen.daemon.identity = "001122aabbcc";
    return seen;
}
