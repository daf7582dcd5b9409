// Whether the daemon works: what its supervisor says, or the daemon itself where it has none.
#pragma once

#include <string>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Shows the health that avoipguard keeps in the state folder. Where none keeps it, the daemon is
/// asked for its devices. Gives kSuccess when it works, kFailure when it is of no use, kNoDaemon
/// when it is not there (yet, or any more), and kNoTurn when other front ends kept the daemon from
/// being asked.
Status Supervision_show(Session& session, const std::string& stateFolder);

}  // namespace avoip::ctl
