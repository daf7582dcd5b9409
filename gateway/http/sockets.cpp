#include "gateway/http/sockets.hpp"

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace avoip::gw {
namespace {

constexpr int kBacklog = 512;
constexpr mode_t kPermissions = 0660;
constexpr const char* kGroup = "avoip";

struct Address {
    sockaddr_storage bytes{};
    socklen_t size = 0;

    [[nodiscard]] const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&bytes); }
};

Address addressOf(const Listen& listen) {
    Address address;
    address.bytes.ss_family = static_cast<sa_family_t>(listen.family == Family::kIpv4   ? AF_INET
                                                       : listen.family == Family::kIpv6 ? AF_INET6
                                                                                        : AF_UNIX);
    if (listen.family == Family::kIpv4) {
        auto& ipv4 = reinterpret_cast<sockaddr_in&>(address.bytes);
        ipv4.sin_port = htons(listen.port);
        ::inet_pton(AF_INET, listen.address.c_str(), &ipv4.sin_addr);
        address.size = sizeof ipv4;
    } else if (listen.family == Family::kIpv6) {
        auto& ipv6 = reinterpret_cast<sockaddr_in6&>(address.bytes);
        ipv6.sin6_port = htons(listen.port);
        ::inet_pton(AF_INET6, listen.address.c_str(), &ipv6.sin6_addr);
        address.size = sizeof ipv6;
    } else {
        auto& local = reinterpret_cast<sockaddr_un&>(address.bytes);
        std::memcpy(local.sun_path, listen.address.c_str(), listen.address.size() + 1);
        address.size = sizeof local;
    }
    return address;
}

[[noreturn]] void fail(const Listen& listen) {
    throw SocketError{"cannot listen on " + Listen_text(listen) + ": " +
                      std::generic_category().message(errno)};
}

Descriptor newSocket(const Address& address) {
    return Descriptor(::socket(address.bytes.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

/// Removes a socket that nobody listens on any more.
void removeStale(const Listen& listen, const Address& address) {
    struct stat facts {};
    if (::lstat(listen.address.c_str(), &facts) != 0 || !S_ISSOCK(facts.st_mode)) {
        return;
    }
    const Descriptor probe = newSocket(address);
    if (::connect(probe.get(), address.get(), address.size) != 0 && errno == ECONNREFUSED) {
        ::unlink(listen.address.c_str());
    }
}

void giveToGroup(const Listen& listen) {
    if (::chmod(listen.address.c_str(), kPermissions) != 0) {
        fail(listen);
    }
    // cppcheck-suppress getgrnamCalled ; nothing else asks for a group
    const group* const entry = ::getgrnam(kGroup);
    if (entry != nullptr &&
        ::chown(listen.address.c_str(), static_cast<uid_t>(-1), entry->gr_gid) != 0) {
        // Whoever is not in the group may not give to it; the socket stays the own group's.
        errno = 0;
    }
}

}  // namespace

Descriptor Sockets_listen(const Listen& listen) {
    const Address address = addressOf(listen);
    Descriptor socket = newSocket(address);
    const int on = 1;
    if (!socket.isOpen()) {
        fail(listen);
    }
    if (listen.family == Family::kUnix) {
        removeStale(listen, address);
    } else {
        ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    }
    if (listen.family == Family::kIpv6) {
        ::setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    }
    if (::bind(socket.get(), address.get(), address.size) != 0) {
        fail(listen);
    }
    if (listen.family == Family::kUnix) {
        giveToGroup(listen);
    }
    if (::listen(socket.get(), kBacklog) != 0) {
        fail(listen);
    }
    return socket;
}

}  // namespace avoip::gw
