// Who calls, and whether they may.
#pragma once

#include <optional>
#include <string>

#include "gateway/api/endpoint.hpp"

namespace avoip::gw {

/// What a request says of whoever sent it.
struct Credentials {
    std::optional<std::string> authorization = {};
    std::string sessionCookie = {};
    std::optional<std::string> csrfToken = {};
    std::string address = {};
    /// Whether the listener's address and the peer's are both of this machine.
    bool loopback = false;
};

/// Whoever makes the call, when they may: throws 401 or 403 otherwise.
Caller Access_check(Gateway& gateway, const Endpoint& endpoint, const Credentials& credentials);

}  // namespace avoip::gw
