#include "bed/device.hpp"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "lib/base/membership.hpp"

namespace bed {

namespace {

sockaddr_in socketAddress(const char* address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = ::inet_addr(address);
    return result;
}

/// A UDP socket of the calling thread's side.
avoip::Descriptor boundSocket(const char* address, std::uint16_t port) {
    avoip::Descriptor opened(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    const sockaddr_in local = socketAddress(address, port);
    if (::setsockopt(opened.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        ::bind(opened.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        throwSystemError("cannot bind the device's socket to port " + std::to_string(port));
    }
    return opened;
}

/// Whether nothing waits in any UDP socket on that port of the calling thread's side.
bool isDrained(std::uint16_t port) {
    std::ifstream table("/proc/thread-self/net/udp");
    std::string line;
    while (std::getline(table, line)) {
        unsigned int localPort = 0;
        unsigned int waiting = 0;
        // Slot, local and remote address, state, bytes to send and bytes received.
        const int found =
            std::sscanf(line.c_str(), " %*u: %*x:%x %*x:%*x %*x %*x:%x", &localPort, &waiting);
        if (found == 2 && localPort == port && waiting > 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string replyText(std::string_view cmd, std::string_view status, std::string_view hostid,
                      std::string_view deviceid, std::string_view data) {
    const auto member = [](const char* key, std::string_view value) {
        return "\"" + std::string(key) + "\":\"" + std::string(value) + "\"";
    };
    std::string text = "{\"ack\":{" + member("cmd", cmd) + "," + member("status", status) + "," +
                       member("hostid", hostid) + "," + member("deviceid", deviceid) + "}";
    if (!data.empty()) {
        text.append(",").append(data);
    }
    return text + "}";
}

avoip::Descriptor openGroupSocket(const Namespaces& namespaces) {
    return namespaces.onDeviceSide([] {
        // Bound to the group, so that only what is sent to the group is heard.
        avoip::Descriptor opened = boundSocket(kGroup, kRequestPort);
        avoip::Membership membership{};
        membership.imr_multiaddr.s_addr = ::inet_addr(kGroup);
        membership.imr_ifindex = static_cast<int>(::if_nametoindex(kDeviceInterface));
        if (::setsockopt(opened.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership,
                         sizeof membership) != 0) {
            throwSystemError("the device cannot join the group");
        }
        return opened;
    });
}

avoip::Descriptor openGroupSocket(const Namespaces& namespaces, int queue_bytes) {
    avoip::Descriptor opened = openGroupSocket(namespaces);
    if (::setsockopt(opened.get(), SOL_SOCKET, SO_RCVBUFFORCE, &queue_bytes, sizeof queue_bytes) !=
        0) {
        throwSystemError("no queue that holds a crowd of requests (run this as root)");
    }
    return opened;
}

void sendBurst(const avoip::Descriptor& socket, const sockaddr_in& to,
               std::span<const std::string> texts) {
    std::vector<iovec> parts;
    for (const std::string& text : texts) {
        // The system only reads what is to be sent.
        parts.push_back({const_cast<char*>(text.data()), text.size()});
    }
    std::vector<mmsghdr> messages;
    for (iovec& part : parts) {
        mmsghdr message{};
        message.msg_hdr.msg_name = const_cast<sockaddr_in*>(&to);
        message.msg_hdr.msg_namelen = sizeof to;
        message.msg_hdr.msg_iov = &part;
        message.msg_hdr.msg_iovlen = 1;
        messages.push_back(message);
    }
    for (std::size_t sent = 0; sent < messages.size();) {
        const int count = ::sendmmsg(socket.get(), &messages[sent],
                                     static_cast<unsigned>(messages.size() - sent), 0);
        if (count <= 0) {
            throwSystemError("cannot send a burst of replies");
        }
        sent += static_cast<std::size_t>(count);
    }
}

Device::Device(const Namespaces& namespaces)
    : namespaces_(namespaces), socket_(openGroupSocket(namespaces)) {}

Datagram Device::receive(std::chrono::milliseconds patience) {
    if (!awaitReadable(socket_.get(), patience)) {
        throw Error("the device heard no request");
    }
    std::array<char, 65536> buffer;
    sockaddr_in sender{};
    socklen_t senderSize = sizeof sender;
    const ssize_t count = ::recvfrom(socket_.get(), buffer.data(), buffer.size(), 0,
                                     reinterpret_cast<sockaddr*>(&sender), &senderSize);
    if (count < 0) {
        throwSystemError("the device cannot receive");
    }
    std::array<char, INET_ADDRSTRLEN> address{};
    ::inet_ntop(AF_INET, &sender.sin_addr, address.data(), address.size());
    asker_ = address.data();
    return {{buffer.data(), static_cast<std::size_t>(count)}, asker_, ntohs(sender.sin_port)};
}

bool Device::hasHeardNothing() const {
    return !awaitReadable(socket_.get(), std::chrono::milliseconds(0));
}

void Device::reply(std::string_view text) {
    sendFrom(socket_.get(), text);
}

void Device::replyFrom(std::uint16_t port, std::string_view text) {
    const avoip::Descriptor other =
        namespaces_.onDeviceSide([port] { return boundSocket("0.0.0.0", port); });
    sendFrom(other.get(), text);
}

void Device::replyAfter(std::chrono::milliseconds delay, std::string text) {
    delayed_.emplace_back([this, delay, text = std::move(text)] {
        std::this_thread::sleep_for(delay);
        reply(text);
    });
}

void Device::replyAll(std::span<const std::string> texts) {
    constexpr std::size_t kUnreadAtMost = 32;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (i % kUnreadAtMost == 0) {
            awaitCondition("the replies to be read", [] { return isDrained(kReplyPort); });
        }
        reply(texts[i]);
    }
}

void Device::sendFrom(int socket, std::string_view text) const {
    const sockaddr_in asker = socketAddress(asker_.c_str(), kReplyPort);
    if (::sendto(socket, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&asker),
                 sizeof asker) != static_cast<ssize_t>(text.size())) {
        throwSystemError("the device cannot reply");
    }
}

}  // namespace bed
