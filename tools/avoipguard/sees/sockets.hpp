// The sockets of this network namespace, asked for by netlink (sock_diag): what a socket's own
// process knows of it can be seen from outside, such as how many bytes stand unread. On a system
// that cannot be asked (CONFIG_INET_DIAG, CONFIG_INET_UDP_DIAG) every question gives nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace avoip::guard {

inline constexpr std::uint16_t kConsolePort = 6888;
inline constexpr std::uint16_t kReplyPort = 8003;
inline constexpr std::uint16_t kUploadPort = 5888;

struct SocketSeen {
    /// Bytes that its process has not read yet; connections not accepted yet for a listener.
    std::uint32_t unread = 0;
    std::uint32_t user = 0;
    /// What /proc/PID/fd shows of it; 0 for a connection that nobody has accepted yet.
    std::uint64_t inode = 0;
};

/// The sockets that listen on a TCP port, and those that are bound to a UDP port, for IPv4 or IPv6.
std::optional<std::vector<SocketSeen>> Sockets_listeners(std::uint16_t port);
std::optional<std::vector<SocketSeen>> Sockets_bound(std::uint16_t port);

/// Whether a socket of this type (SOCK_STREAM, SOCK_DGRAM) could be bound to the port as the daemon
/// binds it.
bool Sockets_canBind(int type, std::uint16_t port);

/// The TCP connections that stand, by the port of this end or of the other one (0 for any). Where
/// there are very many sockets this takes some milliseconds.
std::optional<std::vector<SocketSeen>> Sockets_connections(std::uint16_t localPort,
                                                           std::uint16_t remotePort);

/// The other end of a connection within this machine, over 127.0.0.1; nothing when it is gone.
std::optional<SocketSeen> Sockets_peer(std::uint16_t ownPort, std::uint16_t peerPort);

}  // namespace avoip::guard
