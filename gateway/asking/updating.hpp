// The update of one device: a console connection of its own, for as long as it takes. Only its
// opening discovery shares the daemon's socket with others, and so takes its place among the reads;
// then the upload goes on beside everything else.
//
// The answer may be overwritten by another one. So it is seen by other signs too when the update is
// over: the daemon's connection to the device ends, and a marker behind the command is answered.
#pragma once

#include <functional>
#include <stop_token>
#include <string>

#include "gateway/asking/reads.hpp"

namespace avoip::gw {

/// Updates the device at this address, and waits for the end of that, or for `stop`. `begun` is
/// called when the command was sent and its opening discovery is over. End::kOverwritten: the
/// daemon is done.
Reply Update_run(Line& line, Reads& reads, const Request& update, const std::string& address,
                 const std::function<void()>& begun, const std::stop_token& stop);

}  // namespace avoip::gw
