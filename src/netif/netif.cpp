#include "netif/netif.hpp"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/output.hpp"

namespace {

struct SupportedName {
    std::string_view name;
    int index;
};

// That names share an index (kept: interface-indexes).
constexpr std::array kSupportedNames{
    SupportedName{"eth0", 0}, SupportedName{"lo", 0},     SupportedName{"eth2", 2},
    SupportedName{"eth1", 1}, SupportedName{"eth0.2", 2}, SupportedName{"eth0.1", 1},
};

const char* printable(const char* name) {
    return name != nullptr ? name : "(null)";
}

/// The check that most functions begin with, and their line when it fails.
bool isSupported(const char* name) {
    if (Net_checkIfName(name) >= 0) {
        return true;
    }
    Output_print("pEthName(%s) failed!\n", printable(name));
    return false;
}

// A socket that only serves as a handle for interface requests.
class Handle {
  public:
    explicit Handle(int type) : socket_(::socket(AF_INET, type | SOCK_CLOEXEC, 0)) {}
    ~Handle() {
        if (socket_ >= 0) {
            ::close(socket_);
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    int number() const { return socket_; }
    bool isOpen() const { return socket_ >= 0; }

    // kept: netif-open-sockets
    void leaveOpen() { socket_ = -1; }

  private:
    int socket_;
};

ifreq requestFor(const char* name) {
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    return request;
}

sockaddr socketAddress(in_addr_t address) {
    sockaddr_in internet{};
    internet.sin_family = AF_INET;
    internet.sin_addr.s_addr = address;
    sockaddr generic{};
    static_assert(sizeof generic == sizeof internet);
    std::memcpy(&generic, &internet, sizeof generic);
    return generic;
}

/// The system's answer about an interface, or nothing, after the line that says why.
std::optional<ifreq> query(const char* name, unsigned long what, const char* noSocket,
                           const char* refused) {
    if (!isSupported(name)) {
        return std::nullopt;
    }
    Handle handle(SOCK_STREAM);
    if (!handle.isOpen()) {
        Output_print("%s\n", noSocket);
        return std::nullopt;
    }
    ifreq request = requestFor(name);
    if (::ioctl(handle.number(), what, &request) < 0) {
        Output_print("%s\n", refused);
        handle.leaveOpen();
        return std::nullopt;
    }
    return request;
}

void writeDotted(const sockaddr& address, char* out) {
    sockaddr_in internet{};
    std::memcpy(&internet, &address, sizeof internet);
    ::inet_ntop(AF_INET, &internet.sin_addr, out, kNetAddressRoom);
}

struct ClosePipe {
    void operator()(std::FILE* pipe) const { ::pclose(pipe); }
};
using Pipe = std::unique_ptr<std::FILE, ClosePipe>;

/// Runs a command through the shell to its end; false when the shell could not be started.
bool runInShell(const std::string& command) {
    const Pipe shell(::popen(command.c_str(), "w"));
    return shell != nullptr;
}

bool isDefaultRoute(std::string_view line) {
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (!line.empty() && isSpace(line.front())) {
        line.remove_prefix(1);
    }
    return line.starts_with("default");
}

/// A route to the destination 0.0.0.0 with no mask; the entry refers to `device`.
rtentry routeThrough(char* device, unsigned short flags) {
    rtentry route{};
    route.rt_dst = socketAddress(INADDR_ANY);
    route.rt_flags = flags;
    route.rt_dev = device;
    return route;
}

constexpr unsigned short kSubnetFlags = RTF_UP | RTF_MODIFIED;
constexpr unsigned short kDefaultFlags = kSubnetFlags | RTF_GATEWAY;

}  // namespace

int Net_checkIfName(const char* name) {
    if (name == nullptr) {
        Output_print("pEthName == NULL!\n");
        return -1;
    }
    for (const SupportedName& supported : kSupportedNames) {
        if (supported.name == name) {
            return supported.index;
        }
    }
    Output_print("Not Support Device %s\n", name);
    return -1;
}

int Net_getMac(const char* name, char* mac) {
    const auto answer = query(name, SIOCGIFHWADDR, "create socket falise...mac", "mac ioctl error");
    if (!answer) {
        return -1;
    }
    std::array<unsigned char, 6> address{};
    std::memcpy(address.data(), answer->ifr_hwaddr.sa_data, address.size());
    std::snprintf(mac, kNetMacRoom, "%02x%02x%02x%02x%02x%02x", address[0], address[1], address[2],
                  address[3], address[4], address[5]);
    Output_print("local mac:%s \n", mac);
    return 0;
}

int Net_getIp(const char* name, char* address) {
    const auto answer = query(name, SIOCGIFADDR, "socket create failed!", "SIOCGIFADDR Failed!");
    if (!answer) {
        return -1;
    }
    writeDotted(answer->ifr_addr, address);
    Output_print("local ip:%s \n", address);
    return 0;
}

int Net_getNetmask(const char* name, char* netmask) {
    // The second text is Net_getMac's (kept: netmask-error-text).
    const auto answer =
        query(name, SIOCGIFNETMASK, "create socket failture...NetGetLocalIp", "mac ioctl error");
    if (!answer) {
        return -1;
    }
    writeDotted(answer->ifr_netmask, netmask);
    Output_print("local netmask:%s\n", netmask);
    return 0;
}

int Net_setIp(const char* name, const char* address) {
    if (!isSupported(name) || address == nullptr) {
        return -1;
    }
    Handle handle(SOCK_STREAM);
    if (!handle.isOpen()) {
        Output_print("socket create failse...SetLocalIp! sock_set_ip=%d\n", handle.number());
        return -1;
    }
    ifreq request = requestFor(name);
    request.ifr_addr = socketAddress(::inet_addr(address));
    if (::ioctl(handle.number(), SIOCSIFADDR, &request) < 0) {
        Output_print("Not setup interface\n");
        handle.leaveOpen();
        return -1;
    }
    // The flags are not read first (kept: address-resets-flags): they are the address family, which
    // shares their place in the request, up and running.
    request.ifr_flags = AF_INET | IFF_UP | IFF_RUNNING;
    if (::ioctl(handle.number(), SIOCSIFFLAGS, &request) < 0) {
        Output_print("SIOCSIFFLAGS");
        handle.leaveOpen();
        return -1;
    }
    return 0;
}

int Net_setNetmask(const char* name, const char* netmask) {
    if (!isSupported(name)) {
        return -1;
    }
    Handle handle(SOCK_STREAM);
    if (!handle.isOpen()) {
        Output_print("Not create network socket connect\n");
        return -1;
    }
    ifreq request = requestFor(name);
    request.ifr_netmask = socketAddress(::inet_addr(netmask));
    const int result = ::ioctl(handle.number(), SIOCSIFNETMASK, &request);
    handle.leaveOpen();
    if (result < 0) {
        Output_print("sock_netmask ioctl error\n");
        return -1;
    }
    return 0;
}

int Net_setMac(const char* name, const char* mac) {
    if (Net_checkIfName(name) < 0) {
        // kept: slash-n
        Output_print("pEthName(%s) failed!/n", printable(name));
        return -1;
    }
    const std::string tool = std::string("ifconfig ") + name;
    if (!runInShell(tool + " down") || !runInShell(tool + " hw ether " + mac) ||
        !runInShell(tool + " up")) {
        Output_print("popen error\n");
        return -1;
    }
    return 0;
}

int Net_getGateway(const char* /*name*/, char* gateway) {
    const Pipe list(::popen("ip route", "r"));
    if (list == nullptr) {
        Output_print("popen error\n");
        return -1;
    }
    // Without a default route the last line stays here (kept: gateway-last-line).
    std::array<char, 512 + 1> line{};
    while (std::fgets(line.data(), line.size(), list.get()) != nullptr &&
           !isDefaultRoute(line.data())) {
    }
    *gateway = '\0';
    static_assert(kNetGatewayRoom == 31 + 1);
    std::sscanf(line.data(), "%*s%*s%31s", gateway);
    Output_print("default gateway:%s\n", gateway);
    return 0;
}

int Net_setGateway(const char* name, const char* gateway) {
    if (!isSupported(name)) {
        return -1;
    }
    Handle handle(SOCK_DGRAM);
    if (!handle.isOpen()) {
        Output_print("Not create network socket connect\n");
        return -1;
    }
    ifreq request = requestFor(name);
    rtentry defaultRoute = routeThrough(request.ifr_name, kDefaultFlags);
    ::ioctl(handle.number(), SIOCDELRT, &defaultRoute);

    std::array<char, kNetAddressRoom> address{};
    std::array<char, kNetAddressRoom> netmask{};
    if (Net_getIp(name, address.data()) < 0 || Net_getNetmask(name, netmask.data()) < 0) {
        Output_print("Get Default Gateway Error\n");
        handle.leaveOpen();
        return -1;
    }
    const in_addr_t mask = ::inet_addr(netmask.data());
    rtentry subnetRoute = routeThrough(request.ifr_name, kSubnetFlags);
    subnetRoute.rt_dst = socketAddress(::inet_addr(address.data()) & mask);
    subnetRoute.rt_genmask = socketAddress(mask);
    ::ioctl(handle.number(), SIOCDELRT, &subnetRoute);
    if (::ioctl(handle.number(), SIOCADDRT, &subnetRoute) < 0) {
        Output_print("SetGateWay SIOCADDRT Failed\n");
        return -1;
    }
    defaultRoute.rt_gateway = socketAddress(::inet_addr(gateway));
    if (::ioctl(handle.number(), SIOCADDRT, &defaultRoute) < 0) {
        Output_print("SetGateWay SIOCADDRT Failed\n");
        handle.leaveOpen();
        return -1;
    }
    return 0;
}

int Net_fallbackIp(const char* name) {
    if (!isSupported(name)) {
        return -1;
    }
    // The test is the wrong way round (kept: inverted-fallback).
    if (Handle(SOCK_STREAM).isOpen()) {
        return 0;
    }
    const std::string command = std::string("ifconfig ") + name + " 192.168.1.10";
    Output_print("cmd %s\n", command.c_str());
    if (!runInShell(command)) {
        Output_print("route error");
        return -1;
    }
    return 0;
}
