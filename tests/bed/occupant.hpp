// Holds a port of the calling thread's network, so that nobody else gets it.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

class Occupant {
  public:
    /// Binds a socket of this type (SOCK_STREAM, which listens then, or SOCK_DGRAM) to the port.
    /// Nobody accepts connections there; `shares` lets others bind to it too, if they ask for that.
    Occupant(int type, std::uint16_t port, bool shares = false)
        : socket_(::socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
        const int share = shares ? 1 : 0;
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &share, sizeof share);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        if (::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            (type == SOCK_STREAM && ::listen(socket_.get(), 1) != 0)) {
            throwSystemError("cannot hold port " + std::to_string(port));
        }
    }

  private:
    avoip::Descriptor socket_;
};

}  // namespace bed
