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
    /// SOCK_STREAM or SOCK_DGRAM, and the port. Nobody accepts connections there.
    Occupant(int type, std::uint16_t port) : socket_(::socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
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
