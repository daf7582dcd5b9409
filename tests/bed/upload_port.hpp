// The port on which a device takes firmware, scripted by the test: nothing is accepted, read, sent
// or ended but what the test says, when it says so.
//
//     bed::UploadPort port("10.77.1.1");
//     bed::Upload upload = port.accept();
//     EXPECT_EQ(upload.receiveAll(), bed::chunkStream("AD", payload));
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

inline constexpr std::uint16_t kUploadPort = 5888;

/// One connection that the device has accepted.
class Upload {
  public:
    explicit Upload(avoip::Descriptor socket) : socket_(std::move(socket)) {}

    /// The next bytes, exactly so many, waited for; fewer when the sender ends before.
    std::string receive(std::size_t count);
    /// All bytes until the sender ends the connection, in whatever way.
    std::string receiveAll();
    /// Whether the sender has neither sent anything more nor ended the connection so far.
    bool hasHeardNothing() const;

    void send(std::string_view text);
    /// Ends the connection in the usual way.
    void end() { socket_.reset(); }
    /// Ends the connection with a reset.
    void reset();

  private:
    avoip::Descriptor socket_;
};

class UploadPort {
  public:
    /// Listens on the side of the calling thread.
    explicit UploadPort(const std::string& address, std::uint16_t port = kUploadPort);

    /// The next connection, waited for.
    Upload accept() const;
    /// Whether a connection stands to be accepted, or comes within `patience`.
    bool hasConnection(std::chrono::milliseconds patience = std::chrono::milliseconds(0)) const;

  private:
    avoip::Descriptor listening_;
};

/// The stream that carries `payload` in pieces of 4096 bytes, the last one of what is left: a chunk
/// of each of the `kinds`, in their order.
std::string chunkStream(std::string_view kinds, std::string_view payload);

}  // namespace bed
