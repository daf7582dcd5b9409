// The prompt: avoipctl without a subcommand.
//
// A line that ends in "!" is a console text, sent as it is, and its answer is printed as it is. Any
// other line is a subcommand as in a shell, without the word "avoipctl". "help" helps; "quit",
// "exit" or the end of the input end the prompt. At a terminal, lines can be edited, completed with
// the tab key and brought back from the history; without one, the lines are simply read.
#pragma once

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Runs the prompt until its input ends. At a terminal gives kSuccess; without one, kSuccess when
/// every line succeeded, else the status of the last line that did not.
Status Prompt_run(Session& session);

/// Runs one line of the prompt. Sets `ended` when it asks for the end.
Status Prompt_runLine(Session& session, const std::string& line, bool& ended);

}  // namespace avoip::ctl
