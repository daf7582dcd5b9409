// The sockets that the gateway listens on.
#pragma once

#include <string>

#include "gateway/config/listen.hpp"
#include "lib/base/descriptor.hpp"

namespace avoip::gw {

/// Why an address cannot be listened on.
struct SocketError {
    std::string text;
};

/// A socket that listens there. One of a path gets the permissions 0660, and the group "avoip"
/// where the system lets us; a path that nobody listens on any more is taken over. Throws
/// SocketError.
Descriptor Sockets_listen(const Listen& listen);

}  // namespace avoip::gw
