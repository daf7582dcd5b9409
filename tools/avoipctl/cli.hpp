// The command line: words become a subcommand of the catalogue, or one of avoipctl's own.
#pragma once

#include <string>
#include <vector>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Runs the command line `words`, without the program's name, and gives the exit status. Options
/// that it holds are set in the session. Without a subcommand the prompt runs, unless this is the
/// prompt already.
Status Cli_run(Session& session, const std::vector<std::string>& words);

}  // namespace avoip::ctl
