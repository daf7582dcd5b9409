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

    /// Connects until `deadline`, unless a connection stands already. A refusal is tried again for
    /// two seconds, since the daemon may be on its way to be started again. Gives AVOIP_OK, or
    /// AVOIP_NO_DAEMON with a reason.
    avoip_result open(const char* host, std::uint16_t port, Deadline deadline, Reason& reason);

    /// Sends the whole text until `deadline`; false when the connection has ended or the time is
    /// up. Part of the text may be on its way then, so nobody may send it again.
    bool send(const char* text, Deadline deadline);

    /// Whether a connection stands that the daemon has not ended.
    [[nodiscard]] bool stands() const;

    /// The socket, -1 when there is none.
    [[nodiscard]] int descriptor() const { return socket_; }

    /// The daemon at the other end, as Sockets_listener() tells daemons apart; 0 when not known.
    [[nodiscard]] std::uint64_t daemon() const { return daemon_; }

    void close();

  private:
    int socket_ = -1;
    std::uint64_t daemon_ = 0;
};

}  // namespace avoip
