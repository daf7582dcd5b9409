#include "protocol/client.hpp"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "base/output.hpp"
#include "base/unreleased.hpp"

namespace {

/// Holds the replies of a fleet of a thousand that answers in one burst; each takes the system
/// about a kilobyte and a half.
constexpr int kReceiveQueueBytes = 4 * 1024 * 1024;

/// Asks for a receive queue of that size: beyond the system's limit where the daemon may, else up
/// to it. Without one the system's default stands.
void enlargeReceiveQueue(int descriptor) {
    const int bytes = kReceiveQueueBytes;
    if (::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) < 0) {
        ::setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
}

/// A system request that names the interface.
ifreq requestFor(const char* interfaceName) {
    ifreq request{};
    ::strncpy(request.ifr_name, interfaceName, sizeof request.ifr_name - 1);
    return request;
}

sockaddr_in ipv4Address(in_addr_t address, std::uint32_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<std::uint16_t>(port & 0xFFFFU));
    result.sin_addr.s_addr = address;
    return result;
}

}  // namespace

ProtocolClient* daemonClient = nullptr;

void Protocol_client_closeDescriptor(std::int32_t descriptor) {
    ::close(descriptor);
}

std::int32_t Protocol_client_create(ProtocolClient** out, const char* interfaceName,
                                    const char* identityName, const char* hostIdentity,
                                    const char* group, std::uint32_t port) {
    if (interfaceName == nullptr || identityName == nullptr || hostIdentity == nullptr ||
        group == nullptr) {
        Output_print("param err!\n");
        return -1;
    }
    std::unique_ptr<ProtocolClient> client(new (std::nothrow) ProtocolClient{});
    if (client == nullptr) {
        Output_print("client malloc err!\n");
        return -1;
    }
    client->name.set(identityName);
    client->hostIdentity.set(hostIdentity);
    client->interfaceName.set(interfaceName);
    client->group.set(group);
    client->port = port;
    client->state = kStateReady;

    const std::int32_t socket = Protocol_client_openSocket(client.get());
    // Descriptor 0 counts as a failure too, and the object is not released
    // (kept: client-not-created).
    if (socket <= 0) {
        Output_print("pEthName(%s) get socket err!\n", interfaceName);
        Unreleased_keep(client.release());
        return -1;
    }
    client->socket.set(socket);
    *out = client.release();
    return 0;
}

std::int32_t Protocol_client_destroy(ProtocolClient* client) {
    Protocol_client_closeSocket(client);
    delete client;
    return 0;
}

std::int32_t Protocol_client_openSocket(ProtocolClient* client) {
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        Output_systemError("socket()");
        return -1;
    }
    const int on = 1;
    if (::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) < 0) {
        Output_systemError("Setting SO_REUSEADDR error");
        ::close(descriptor);
        return -1;
    }
    const sockaddr_in address = ipv4Address(htonl(INADDR_ANY), client->port + 1);
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        Output_systemError("bind()");
        ::close(descriptor);
        return -2;
    }
    enlargeReceiveQueue(descriptor);
    return descriptor;
}

std::int32_t Protocol_client_closeSocket(ProtocolClient* client) {
    client->socket.retire();
    return 0;
}

std::int32_t Protocol_client_joinGroup(ProtocolClient* client, std::int32_t socket) {
    const unsigned char off = 0;
    if (::setsockopt(socket, IPPROTO_IP, IP_MULTICAST_LOOP, &off, sizeof off) < 0) {
        Output_print("setsockopt broadcaset error!!!\n");
        Output_systemError("Setting IP_MULTICAST_LOOP error:");
        ::close(socket);
        return -1;
    }
    ip_mreq membership{};
    membership.imr_multiaddr.s_addr = ::inet_addr(client->group.c_str());
    membership.imr_interface.s_addr = ::inet_addr(client->currentAddress.c_str());
    if (::setsockopt(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) < 0) {
        Output_print("setsockopt IP_ADD_MEMBERSHIP error!!!\n");
        Output_systemError("add IP_ADD_MEMBERSHIP error:");
        ::setsockopt(socket, IPPROTO_IP, IP_DROP_MEMBERSHIP, &membership, sizeof membership);
        ::close(socket);
        return -1;
    }
    return 0;
}

std::int32_t Protocol_client_leaveGroup(ProtocolClient* client) {
    // The membership is all zero on purpose, so the group is not really left (kept: leave-group).
    const ip_mreq membership{};
    const ClientSocket::Use use(client->socket);
    ::setsockopt(use.get(), IPPROTO_IP, IP_DROP_MEMBERSHIP, &membership, sizeof membership);
    return 0;
}

bool Protocol_client_isDown(const char* interfaceName) {
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return false;
    }
    ifreq request = requestFor(interfaceName);
    const bool isKnown = ::ioctl(descriptor, SIOCGIFFLAGS, &request) == 0;
    ::close(descriptor);
    return isKnown && (request.ifr_flags & IFF_UP) == 0;
}

std::int32_t Protocol_client_getIfAddr(const char* interfaceName, char* out) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        Output_print("socket create failed!/n");
        return -1;
    }
    ifreq request = requestFor(interfaceName);
    if (::ioctl(descriptor, SIOCGIFADDR, &request) < 0) {
        // The descriptor stays open (kept: address-query-leak).
        Output_print("SIOCGIFADDR Failed!/n");
        return -1;
    }
    sockaddr_in address{};
    std::memcpy(&address, &request.ifr_addr, sizeof address);
    ::inet_ntop(AF_INET, &address.sin_addr, out, INET_ADDRSTRLEN);
    ::close(descriptor);
    return 0;
}

std::int32_t Protocol_client_send(ProtocolClient* client, std::int32_t /*socket*/, const void* data,
                                  std::size_t length) {
    // What is no address becomes one that cannot be sent to.
    in_addr address{.s_addr = INADDR_NONE};
    ::inet_pton(AF_INET, client->group.c_str(), &address);
    const sockaddr_in group = ipv4Address(address.s_addr, client->port);
    const ClientSocket::Use use(client->socket);
    if (::sendto(use.get(), data, length, 0, reinterpret_cast<const sockaddr*>(&group),
                 sizeof group) < 0) {
        Output_systemError("sendto()");
        // For good (kept: failed-send-closes-socket).
        Protocol_client_closeSocket(client);
        return -1;
    }
    return 0;
}
