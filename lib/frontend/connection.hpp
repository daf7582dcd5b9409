// The TCP connection to the daemon's console. The daemon never writes on it, so whatever can be
// read from it means that it has ended.
#pragma once

#include <cstdint>

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

class Connection {
  public:
    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { close(); }

    /// Connects until `deadline`, unless a connection stands already. Gives AVOIP_OK, or
    /// AVOIP_NO_DAEMON with a reason.
    avoip_result open(const char* host, std::uint16_t port, Deadline deadline, Reason& reason);

    /// Sends the whole text until `deadline`; false when the connection has ended or the time is
    /// up.
    bool send(const char* text, Deadline deadline);

    /// Whether a connection stands that the daemon has not ended.
    [[nodiscard]] bool stands() const;

    /// The socket, -1 when there is none.
    [[nodiscard]] int descriptor() const { return socket_; }

    void close();

  private:
    int socket_ = -1;
};

}  // namespace avoip
