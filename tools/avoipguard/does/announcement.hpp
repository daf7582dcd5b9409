// Says how the daemon is, to everybody who wants to know: a line on the error output and STATUS for
// the service manager when the state or its reason changes, and state.json.
#pragma once

#include <string>

#include "avoipguard/does/notify.hpp"
#include "avoipguard/does/relay.hpp"
#include "lib/health/health.hpp"

namespace avoip::guard {

struct Announcement {
    std::string stateFolder;
    Health shown;
    bool isShown = false;
    bool hasFailed = false;  ///< the state file could not be written
};

/// Announces `health` where it differs from what was announced before; when it came into its state
/// is found here.
void Announcement_make(Announcement& announcement, Health health, const Notify& notify,
                       Relay& errors);

}  // namespace avoip::guard
