// The stream of events of one client.
#pragma once

#include <functional>

#include "gateway/events/feed.hpp"

struct MHD_Connection;
struct MHD_Response;

namespace avoip::gw {

/// A response that streams the events that the client `wants` to this connection until the client
/// goes, or `isAllowed`, which is asked every 15 s, says no. The caller queues and destroys it.
MHD_Response* Stream_open(Feed& feed, MHD_Connection* connection,
                          const std::optional<std::string>& lastEventId,
                          std::function<bool()> isAllowed, FeedFilter wants);

}  // namespace avoip::gw
