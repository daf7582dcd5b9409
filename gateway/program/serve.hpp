// The gateway as it runs: everything is wired together here, once.
#pragma once

#include <string>

#include "gateway/config/config.hpp"

namespace avoip::gw {

/// Serves until SIGTERM or SIGINT, which must be blocked, come. Prints on standard error why it
/// cannot start. Gives the exit status: 0, or 1.
int Serve_run(const Config& config, const std::string& data);

}  // namespace avoip::gw
