// The work behind the subcommands: ask the daemon, print the answer, say how it ended.
#pragma once

#include <span>
#include <string>

#include "avoipctl/answer.hpp"
#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// An answer in both its forms.
struct Reading {
    std::string json;
    Answer answer;
};

/// Asks a command of the catalogue with checked values, one for each argument, prints nothing on
/// the output, and reports everything but success on the error stream. A list of devices is
/// remembered for completion.
Status Run_read(Session& session, const Command& command, std::span<const std::string> values,
                Reading& reading);

/// The same, and prints the answer: as people read it, or as it is with --json.
Status Run_command(Session& session, const Command& command, std::span<const std::string> values);

/// Sends any console text and prints the answer as it is. A failure answer to a text that is no
/// command is followed by a "did you mean" on the error stream.
Status Run_send(Session& session, const std::string& text);

}  // namespace avoip::ctl
