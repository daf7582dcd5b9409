#include "avoipguard/does/notify.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace avoip::guard {

namespace {

/// The number that an environment variable holds; 0 for none.
std::int64_t numberIn(const char* variable) {
    const char* const text = std::getenv(variable);
    std::int64_t number = 0;
    if (text != nullptr) {
        std::from_chars(text, text + std::strlen(text), number);
    }
    return number;
}

}  // namespace

Notify Notify_open() {
    Notify notify;
    const char* const address = std::getenv("NOTIFY_SOCKET");
    if (address == nullptr || std::strlen(address) >= sizeof sockaddr_un{}.sun_path) {
        return notify;
    }
    notify.address = address;
    notify.socket = Descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const std::int64_t pid = numberIn("WATCHDOG_PID");
    if (pid == 0 || pid == ::getpid()) {
        // Three times as often as it must be.
        notify.watchdog_ms = numberIn("WATCHDOG_USEC") / 3000;
    }
    return notify;
}

void Notify_send(const Notify& notify, std::string_view lines) {
    if (!notify.socket.isOpen()) {
        return;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(notify.address, address.sun_path);
    // One that begins with "@" stands in no folder.
    address.sun_path[0] = address.sun_path[0] == '@' ? '\0' : address.sun_path[0];
    const auto size = offsetof(sockaddr_un, sun_path) + notify.address.size();
    ::sendto(notify.socket.get(), lines.data(), lines.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size));
}

void Notify_watchdog(Notify& notify, std::int64_t now_ms) {
    if (notify.watchdog_ms > 0 && now_ms - notify.lastWatchdog_ms >= notify.watchdog_ms) {
        notify.lastWatchdog_ms = now_ms;
        Notify_send(notify, "WATCHDOG=1");
    }
}

}  // namespace avoip::guard
