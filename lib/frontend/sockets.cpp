#include "lib/frontend/sockets.hpp"

#include <cinttypes>
#include <cstdio>

namespace avoip {

namespace {

// Of the calling thread, not of the process: threads may stand in different namespaces.
constexpr const char* kSocketList = "/proc/thread-self/net/tcp";

constexpr unsigned kEstablished = 0x01;
constexpr unsigned kListening = 0x0A;
constexpr unsigned kUploadPort = 5888;

/// One line of the list.
struct Socket {
    unsigned localPort = 0;
    std::uint32_t remoteAddress = 0;
    unsigned remotePort = 0;
    unsigned state = 0;
    std::uint64_t inode = 0;
};

/// Calls `visit` with each socket of the list until it gives false.
template <class Visit>
void forEachSocket(Visit visit) {
    std::FILE* const list = std::fopen(kSocketList, "re");
    if (list == nullptr) {
        return;
    }
    char line[512];
    for (bool more = true; more && std::fgets(line, sizeof line, list) != nullptr;) {
        Socket socket;
        // Behind the state: two queues, two of the timer, retries, user, time-out.
        const int read =
            std::sscanf(line, "%*d: %*8x:%4x %8" SCNx32 ":%4x %2x %*s %*s %*s %*s %*s %" SCNu64,
                        &socket.localPort, &socket.remoteAddress, &socket.remotePort, &socket.state,
                        &socket.inode);
        // The first line is a heading.
        more = read != 5 || visit(socket);
    }
    std::fclose(list);
}

}  // namespace

std::uint64_t Sockets_listener(std::uint16_t port) {
    std::uint64_t inode = 0;
    forEachSocket([&](const Socket& socket) {
        if (socket.state == kListening && socket.localPort == port) {
            inode = socket.inode;
        }
        // Those that listen come first.
        return inode == 0 && socket.state == kListening;
    });
    return inode;
}

std::size_t Sockets_uploads(UploadConnection* found, std::size_t room) {
    std::size_t count = 0;
    forEachSocket([&](const Socket& socket) {
        if (socket.state == kEstablished && socket.remotePort == kUploadPort) {
            found[count] = {socket.remoteAddress, static_cast<std::uint16_t>(socket.localPort)};
            ++count;
        }
        return count < room;
    });
    return count;
}

}  // namespace avoip
