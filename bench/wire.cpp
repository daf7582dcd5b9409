#include "bench/wire.hpp"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <string>

#include "bed/wait.hpp"
#include "bench/measure.hpp"

namespace bench {

namespace {

/// A socket for all that comes in, IP headers included, whoever else hears it.
avoip::Descriptor openTap() {
    avoip::Descriptor tap(::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, htons(ETHERTYPE_IP)));
    sockaddr_ll place{};
    place.sll_family = AF_PACKET;
    place.sll_protocol = htons(ETHERTYPE_IP);
    place.sll_ifindex = static_cast<int>(::if_nametoindex("dev0"));
    const int on = 1;
    if (::bind(tap.get(), reinterpret_cast<sockaddr*>(&place), sizeof place) != 0 ||
        ::setsockopt(tap.get(), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on) != 0) {
        bed::throwSystemError("the wire cannot be listened on");
    }
    return tap;
}

/// When the system received a datagram, by the timestamp that comes with it.
double arrival_us(msghdr& message) {
    const cmsghdr* const control = CMSG_FIRSTHDR(&message);
    if (control == nullptr || control->cmsg_type != SCM_TIMESTAMPNS) {
        throw bed::Error("a datagram came without its time");
    }
    timespec time{};
    std::memcpy(&time, CMSG_DATA(control), sizeof time);
    return microseconds(time);
}

}  // namespace

Wire::Wire(const bed::Namespaces& namespaces) : socket_(namespaces.onDeviceSide(openTap)) {}

double Wire::awaitArrival_us(std::string_view text) const {
    while (bed::awaitReadable(socket_.get(), bed::kPatience)) {
        std::array<char, 1500> request;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(timespec))> control;
        iovec place{request.data(), request.size()};
        msghdr message{};
        message.msg_iov = &place;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t size = ::recvmsg(socket_.get(), &message, MSG_DONTWAIT);
        const std::string_view come(request.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
        if (come.find(text) != std::string_view::npos) {
            return arrival_us(message);
        }
    }
    throw bed::Error("no request came with " + std::string(text));
}

}  // namespace bench
