// A client of the daemon's text console, on the side of the calling thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

inline constexpr std::uint16_t kConsolePort = 6888;

class Console {
  public:
    /// Connects from the side of the calling thread, and tries again until somebody listens there.
    explicit Console(std::uint16_t port = kConsolePort, const std::string& address = "127.0.0.1");

    /// Sends the bytes as they are; a command brings its own "!".
    void send(std::string_view text);

    /// Says that no more will be sent; the connection stays open the other way.
    void finishSending();
    /// Ends the connection without the usual farewell, so that the daemon's read fails.
    void reset();

    /// Waits until the daemon has ended the connection; returns what it sent until then.
    std::string awaitClosed(std::chrono::milliseconds patience = kPatience);
    /// Whether the daemon has neither sent anything nor ended the connection so far.
    bool hasHeardNothing() const;

  private:
    avoip::Descriptor socket_;
};

}  // namespace bed
