// The prompt: avoipctl without a subcommand.
//
// A line that ends in "!" is a console text, sent as it is, and its answer is printed as it is. Any
// other line is a subcommand as in a shell, without the word "avoipctl"; "#" begins a comment.
// "help" or "?" helps, and "?" behind a subcommand helps with that; "quit", "exit" or the end of
// the input end the prompt. At a terminal, lines can be edited, completed with the tab key and
// brought back from the history; Ctrl-C drops the line that is being typed, or ends the one that
// runs; and what concerns every device is asked for, console texts among it. Without a terminal,
// the lines are simply read.
#pragma once

#include <string>
#include <string_view>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Runs the prompt until its input ends. At a terminal gives kSuccess; without one, kSuccess when
/// every line succeeded, else the status of the last line that did not.
Status Prompt_run(Session& session);

/// Whether this line asks for the end of the prompt.
bool Prompt_isEnd(std::string_view line);

/// Runs one line of the prompt.
Status Prompt_runLine(Session& session, const std::string& line);

}  // namespace avoip::ctl
