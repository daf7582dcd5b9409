// The soak program's parts, put together.
#pragma once

#include "soak/account.hpp"
#include "soak/bed.hpp"
#include "soak/judge.hpp"
#include "soak/report.hpp"
#include "soak/watch.hpp"

namespace soak {

struct Soak {
    explicit Soak(const Options& options)
        : printed(options.logs + "/avoipd.log"), bed(options, printed.descriptor()) {}

    Report report;
    Printed printed;
    Bed bed;
    Account account{bed, printed, report};
    Judge judge{bed, account, report};
};

/// Waits until no connection is open but the one that stays, and compares all accounts.
void settle(Soak& soak);

}  // namespace soak
