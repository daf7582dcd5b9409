// What the system's list of TCP sockets says about the daemon. It is the list of the calling
// thread's network namespace, which is the daemon's own where the console is reached at 127.0.0.1.
#pragma once

#include <cstddef>
#include <cstdint>

namespace avoip {

/// The inode of the socket that listens on `port`; 0 where there is none to be seen. No other
/// process ever has the same one, so it tells a daemon from the one that was started after it.
std::uint64_t Sockets_listener(std::uint16_t port);

/// A connection to a device's port for firmware, as the numbers that tell it from others.
struct UploadConnection {
    std::uint32_t address = 0;  ///< the device's, in network byte order
    std::uint16_t port = 0;     ///< the daemon's
    bool operator==(const UploadConnection&) const = default;
};

/// Puts the connections to TCP port 5888 that stand now into `found`, and gives how many there are,
/// at most `room`.
std::size_t Sockets_uploads(UploadConnection* found, std::size_t room);

}  // namespace avoip
