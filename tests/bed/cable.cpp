#include "bed/cable.hpp"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <optional>
#include <string_view>

#include "bed/device.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"

namespace bed {
namespace {

/// The datagram in an IPv4 packet, if it is one of the device protocol.
std::optional<CableDatagram> datagramIn(std::string_view packet, bool outward) {
    iphdr ip{};
    if (packet.size() < sizeof ip) {
        return std::nullopt;
    }
    std::memcpy(&ip, packet.data(), sizeof ip);
    const std::size_t ipSize = std::size_t{ip.ihl} * 4;
    udphdr udp{};
    if (ip.protocol != IPPROTO_UDP || packet.size() < ipSize + sizeof udp) {
        return std::nullopt;
    }
    std::memcpy(&udp, packet.data() + ipSize, sizeof udp);
    if (ntohs(udp.dest) != (outward ? kRequestPort : kReplyPort)) {
        return std::nullopt;
    }
    in_addr sender{};
    sender.s_addr = ip.saddr;
    std::array<char, INET_ADDRSTRLEN> address{};
    ::inet_ntop(AF_INET, &sender, address.data(), address.size());
    const std::size_t begin = ipSize + sizeof udp;
    return CableDatagram{outward, address.data(),
                         std::string(packet.substr(begin, ntohs(udp.len) - sizeof udp))};
}

}  // namespace

// Only a socket for every protocol is shown what leaves.
Cable::Cable()
    : socket_(::socket(AF_PACKET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, htons(ETH_P_ALL))) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(::if_nametoindex(kControlInterface));
    if (::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        throwSystemError("cannot listen on the cable");
    }
}

// The packet begins with its IPv4 header, which is 20 bytes long in what is sent here.
void Cable::keepOnly(std::uint16_t port) {
    constexpr std::uint32_t kProtocolOffset = 9;
    constexpr std::uint32_t kPortOffset = 22;
    std::array<sock_filter, 6> steps{{
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, kProtocolOffset),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 3),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, kPortOffset),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, port, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xFFFF),
        BPF_STMT(BPF_RET | BPF_K, 0),
    }};
    const sock_fprog filter{steps.size(), steps.data()};
    if (::setsockopt(socket_.get(), SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) != 0) {
        throwSystemError("cannot choose what to hear on the cable");
    }
}

void Cable::makeRoom(int bytes) {
    if (::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0) {
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    }
}

std::vector<CableDatagram> Cable::take() {
    std::vector<CableDatagram> taken;
    while (true) {
        std::array<char, 65536> buffer;
        sockaddr_ll source{};
        socklen_t size = sizeof source;
        const ssize_t count = ::recvfrom(socket_.get(), buffer.data(), buffer.size(), 0,
                                         reinterpret_cast<sockaddr*>(&source), &size);
        if (count < 0) {
            return taken;
        }
        if (ntohs(source.sll_protocol) == ETH_P_IP) {
            const bool outward = source.sll_pkttype == PACKET_OUTGOING;
            auto datagram = datagramIn({buffer.data(), static_cast<std::size_t>(count)}, outward);
            if (datagram) {
                taken.push_back(std::move(*datagram));
            }
        }
    }
}

}  // namespace bed
