#include "avoipsim/network.hpp"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "avoipsim/ipv4.hpp"
#include "lib/base/membership.hpp"
#include "lib/wire/wire.hpp"

namespace avoip::sim {
namespace {

constexpr std::size_t kLargestDatagram = 65536;

sockaddr_in socketAddress(const std::string& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(Ipv4_parse(address).value_or(INADDR_ANY));
    return result;
}

template <typename Value>
bool setOption(int socket, int option, const Value& value) {
    return ::setsockopt(socket, IPPROTO_IP, option, &value, sizeof value) == 0;
}

std::string failure(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

}  // namespace

Descriptor Network_open(const std::string& interface, std::string& problem) {
    const unsigned index = ::if_nametoindex(interface.c_str());
    if (index == 0) {
        problem = "there is no interface " + interface +
                  "; name one with --interface (\"ip link\" lists them)";
        return {};
    }
    Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // Bound to the group, the socket hears nothing else; without IP_MULTICAST_ALL off it would
    // hear the group on every interface on which anything on this machine has joined it.
    const sockaddr_in group = socketAddress(std::string(kDeviceGroup), kRequestPort);
    // Where the system does not know that option, as qemu's does not,
    // other interfaces are heard too.
    const bool hearsOne = setOption(socket.get(), IP_MULTICAST_ALL, 0) || errno == ENOPROTOOPT;
    if (!socket.isOpen() || !hearsOne) {
        problem = failure("no UDP socket");
        return {};
    }
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&group), sizeof group) != 0) {
        problem = failure("UDP port 8002 cannot be had") +
                  "; another fleet may be running here (\"ss -ulpn\" shows who has it)";
        return {};
    }
    Membership membership{};
    membership.imr_multiaddr = group.sin_addr;
    membership.imr_ifindex = static_cast<int>(index);
    if (!setOption(socket.get(), IP_ADD_MEMBERSHIP, membership)) {
        problem =
            failure("the group " + std::string(kDeviceGroup) + " cannot be joined on " + interface);
        return {};
    }
    return socket;
}

std::optional<Datagram> Network_receive(const Descriptor& socket) {
    static std::array<char, kLargestDatagram> buffer;
    sockaddr_in sender{};
    socklen_t length = sizeof sender;
    const ssize_t size = ::recvfrom(socket.get(), buffer.data(), buffer.size(), 0,
                                    reinterpret_cast<sockaddr*>(&sender), &length);
    if (size < 0) {
        return std::nullopt;
    }
    return Datagram{{buffer.data(), static_cast<std::size_t>(size)},
                    Ipv4_text(ntohl(sender.sin_addr.s_addr))};
}

bool Network_send(const Descriptor& socket, const std::string& from, const std::string& to,
                  const std::string& text) {
    sockaddr_in destination = socketAddress(to, kReplyPort);
    iovec content{const_cast<char*>(text.data()), text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control{};
    msghdr message{};
    message.msg_name = &destination;
    message.msg_namelen = sizeof destination;
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo information{};
    information.ipi_spec_dst = socketAddress(from, 0).sin_addr;
    std::memcpy(CMSG_DATA(header), &information, sizeof information);
    if (::sendmsg(socket.get(), &message, 0) >= 0) {
        return true;
    }
    // The device's address is not local here.
    message.msg_control = nullptr;
    message.msg_controllen = 0;
    return ::sendmsg(socket.get(), &message, 0) >= 0;
}

}  // namespace avoip::sim
