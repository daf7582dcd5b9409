#include "avoipguard/does/kept_console.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "avoipguard/sees/sockets.hpp"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip::guard {

namespace {

constexpr std::int64_t kBlankEveryMs = 1000;
constexpr int kBlanksMost = 4000;

std::uint16_t ownPort(const Connection& connection) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(connection.descriptor(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

bool send(KeptConsole& console, const char* text) {
    return console.connection.send(text, Deadline_in(0));
}

}  // namespace

KeptSeen KeptConsole_look(KeptConsole& console, std::int64_t now_ms) {
    Connection& connection = console.connection;
    if (console.blanks >= kBlanksMost) {
        connection.close();
    }
    if (!connection.stands()) {
        Reason reason;
        if (connection.open("127.0.0.1", kConsolePort, Deadline_in(0), reason) != AVOIP_OK) {
            return {};
        }
        console.port = ownPort(connection);
        console.blanks = 0;
    }
    KeptSeen seen;
    seen.stands = true;
    if (const auto peer = Sockets_peer(console.port, kConsolePort)) {
        seen.isUnread = peer->unread > 0;
        seen.inode = peer->inode;
    }
    seen.hasRead = console.blanks > 0 && !seen.isUnread;
    if (!seen.isUnread && (console.blanks == 0 || now_ms - console.lastBlank_ms >= kBlankEveryMs)) {
        console.blanks += send(console, " ") ? 1 : 0;
        console.lastBlank_ms = now_ms;
    }
    return seen;
}

bool KeptConsole_sendLine(KeptConsole& console, const char* text) {
    // At least one blank more, so that there is something to have been read.
    console.blanks = 1;
    return send(console, text) && send(console, " ");
}

}  // namespace avoip::guard
