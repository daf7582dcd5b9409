// The work behind the subcommands: ask the daemon, print the answer, say how it ended.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Asks a command of the catalogue with checked values, one for each argument, prints nothing on
/// the output, and reports everything but success on the error stream.
Status Run_read(Session& session, const Command& command, std::span<const std::string> values,
                Reply& reply);

/// The same, and prints the answer: as people read it, or as it is with --json. With --verify what
/// has become of a change is asked back and told too; without it, a device that was not in the last
/// list of devices is named on the error stream.
Status Run_command(Session& session, const Command& command, std::span<const std::string> values);

/// Sends any console text and prints the answer as it is. A failure answer to a text that is no
/// command is followed by a "did you mean" on the error stream.
Status Run_send(Session& session, const std::string& text);

/// Names the devices in these values of a command that the last list of devices did not have.
void Run_warnOfUnlisted(Session& session, const Command& command,
                        std::span<const std::vector<std::string>> sent);

/// Reports how a request ended that was no success, and gives the exit status for it.
Status Run_report(Session& session, const Reply& reply);

}  // namespace avoip::ctl
