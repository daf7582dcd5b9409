// Why something that was asked for is not done, in the terms of the answers that say so (RFC 9457).
#pragma once

#include <string>

namespace avoip::gw {

/// Thrown by whoever finds it out, within the rooms that answer requests, and caught where the
/// answer is made.
struct Problem {
    int status;
    std::string detail;
    /// The member of the body, the parameter or the part of the path that is to blame; empty where
    /// none is.
    std::string field = {};
    /// Seconds after which it makes sense to ask again; 0 where nothing is said.
    int retry_after_s = 0;
};

}  // namespace avoip::gw
