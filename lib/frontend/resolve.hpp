// The address behind a host's name, within a time that the caller gives: a name server that does
// not answer keeps the system's own look-up waiting for as long as the system likes.
#pragma once

#include <netinet/in.h>

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

/// Turns `host`, a dotted address or a name, into an address until `deadline`. Gives AVOIP_OK, or
/// AVOIP_NO_DAEMON with a reason.
avoip_result Resolve_host(const char* host, sockaddr_in& address, Deadline deadline,
                          Reason& reason);

}  // namespace avoip
