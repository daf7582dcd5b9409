#include "avoipguard/sees/control.hpp"

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace avoip::guard {

namespace {

constexpr std::uint16_t kDevicePort = 8002;

/// Asks for one fact about the control interface; the answer is in `request`.
bool ask(const Descriptor& socket, unsigned long question, ifreq& request) {
    request = {};
    std::snprintf(request.ifr_name, sizeof request.ifr_name, "%s", kControlInterface);
    return ::ioctl(socket.get(), question, &request) == 0;
}

std::string macIn(const ifreq& request) {
    std::array<unsigned char, 6> bytes{};
    std::memcpy(bytes.data(), request.ifr_hwaddr.sa_data, bytes.size());
    if (std::ranges::all_of(bytes, [](unsigned char byte) { return byte == 0; })) {
        return {};
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", unsigned{byte});
        text += digits.data();
    }
    return text;
}

/// The address from which a datagram to the group would leave; false when it would not. Connecting
/// a UDP socket looks for the route and sends nothing.
bool sourceOfRequests(in_addr& source) {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kDevicePort);
    ::inet_pton(AF_INET, kDeviceGroup, &address.sin_addr);
    socklen_t size = sizeof address;
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
        ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        return false;
    }
    source = address.sin_addr;
    return true;
}

}  // namespace

ControlSeen Control_look() {
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ControlSeen seen;
    ifreq request{};
    seen.exists = ask(socket, SIOCGIFFLAGS, request);
    seen.isUp = seen.exists && (request.ifr_flags & IFF_UP) != 0;
    if (ask(socket, SIOCGIFHWADDR, request)) {
        seen.mac = macIn(request);
    }
    seen.hasAddress = ask(socket, SIOCGIFADDR, request);
    sockaddr_in own{};
    std::memcpy(&own, &request.ifr_addr, sizeof own);
    in_addr source{};
    seen.hasRoute = sourceOfRequests(source);
    seen.routeFits = seen.hasAddress && seen.hasRoute && source.s_addr == own.sin_addr.s_addr;
    return seen;
}

Descriptor ControlBell_open() {
    Descriptor bell(::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE;
    if (::bind(bell.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        bell.reset();
    }
    return bell;
}

void ControlBell_silence(const Descriptor& bell) {
    std::array<char, 8192> message;
    // An overflow (ENOBUFS) is a ring of the bell like any other.
    while (::recv(bell.get(), message.data(), message.size(), 0) > 0) {
    }
}

}  // namespace avoip::guard
