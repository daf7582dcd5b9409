// The HTTP face: libmicrohttpd, with a thread for each connection, so that a call may simply wait.
//
// The library drops connections beyond its own limit without a word; its limit is therefore higher
// than ours, and what is beyond ours is answered with 503 and closed.
#pragma once

#include <memory>

#include "gateway/api/gateway.hpp"

namespace avoip::gw {

inline constexpr int kConnectionsMax = 256;
inline constexpr unsigned kIdle_s = 60;

/// Why the server cannot be started.
struct ServerError {
    std::string text;
};

struct Server;
struct ServerClose {
    void operator()(Server* server) const;
};
using ServerHandle = std::unique_ptr<Server, ServerClose>;

/// Listens on all configured addresses; throws ServerError when one of them cannot be. Closing it
/// ends the feed and waits for the calls that are in progress.
ServerHandle Server_open(Gateway& gateway);

}  // namespace avoip::gw
