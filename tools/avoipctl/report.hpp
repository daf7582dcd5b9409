// What to send with a bug report: how the system and the daemon are, without what anybody has sent.
#pragma once

#include <string>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Prints the answers to a fixed list of questions, each below the shell command that asks it, so
/// that whoever sends the report sees what is in it. Of the journal there are the supervisor's own
/// lines alone: the daemon's name commands with their values. What cannot be asked here says so in
/// its place. Gives kSuccess.
Status Report_show(Session& session, const std::string& stateFolder);

}  // namespace avoip::ctl
