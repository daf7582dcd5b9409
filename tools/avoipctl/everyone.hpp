// What concerns every device is done only when somebody has said that it is meant.
#pragma once

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// kSuccess when the command concerns single devices, --yes was given, or somebody at the terminal
/// says "y" or "yes". Without a terminal kWrongUsage, and kFailure for any other answer; both say
/// that nothing was sent.
Status Everyone_ask(Session& session, const Command& command);

}  // namespace avoip::ctl
