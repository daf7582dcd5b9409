#include "bench/devices.hpp"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "bed/device.hpp"
#include "bed/wait.hpp"
#include "bench/measure.hpp"

namespace bench {

namespace {

constexpr int kQueueBytes = 128 * 1024 * 1024;

/// A socket of the devices' side that hears what is sent to the group.
bed::Descriptor groupSocket(const bed::Namespaces& namespaces) {
    return namespaces.onDeviceSide([] {
        bed::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        const int on = 1;
        ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kQueueBytes, sizeof kQueueBytes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(bed::kRequestPort);
        address.sin_addr.s_addr = ::inet_addr(bed::kGroup);
        ip_mreqn membership{};
        membership.imr_multiaddr = address.sin_addr;
        membership.imr_ifindex = static_cast<int>(::if_nametoindex(bed::kDeviceInterface));
        if (::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::setsockopt(socket.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership,
                         sizeof membership) != 0) {
            bed::throwSystemError("the devices' side cannot listen");
        }
        return socket;
    });
}

void sendAll(int socket, const sockaddr_in& asker, const std::vector<std::string>& replies) {
    std::vector<iovec> texts;
    std::vector<mmsghdr> messages;
    texts.reserve(replies.size());
    for (const std::string& reply : replies) {
        texts.push_back({const_cast<char*>(reply.data()), reply.size()});
        mmsghdr message{};
        message.msg_hdr.msg_name = const_cast<sockaddr_in*>(&asker);
        message.msg_hdr.msg_namelen = sizeof asker;
        message.msg_hdr.msg_iov = &texts.back();
        message.msg_hdr.msg_iovlen = 1;
        messages.push_back(message);
    }
    for (std::size_t sent = 0; sent < messages.size();) {
        const int count =
            ::sendmmsg(socket, &messages[sent], static_cast<unsigned>(messages.size() - sent), 0);
        if (count <= 0) {
            bed::throwSystemError("the devices cannot reply");
        }
        sent += static_cast<std::size_t>(count);
    }
}

}  // namespace

Listener::Listener(const bed::Namespaces& namespaces) : socket_(groupSocket(namespaces)) {}

std::size_t Listener::count() const {
    std::size_t count = 0;
    char byte = 0;
    while (::recv(socket_.get(), &byte, 1, MSG_DONTWAIT) >= 0) {
        ++count;
    }
    return count;
}

Responder::Responder(const bed::Namespaces& namespaces, std::vector<std::string> replies)
    : socket_(groupSocket(namespaces)),
      replies_(std::move(replies)),
      thread_([this](const std::stop_token& stop) { answerAll(stop); }) {}

void Responder::answerAll(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (!bed::awaitReadable(socket_.get(), std::chrono::milliseconds(50))) {
            continue;
        }
        std::array<char, 1500> request;
        sockaddr_in asker{};
        socklen_t size = sizeof asker;
        ::recvfrom(socket_.get(), request.data(), request.size(), 0,
                   reinterpret_cast<sockaddr*>(&asker), &size);
        const double begin = nowUs();
        sendAll(socket_.get(), asker, replies_);
        lastSentUs_ = nowUs();
        ownTimeUs_ = lastSentUs_ - begin;
    }
}

std::string deviceReply(int number) {
    char id[16];
    std::snprintf(id, sizeof id, "TX-%04d", number);
    return bed::replyText(
        "config get device", "success", "001122aabbcc", id,
        "\"device\":{\"deviceid\":\"" + std::string(id) + "\",\"alias\":\"Meeting room " +
            std::to_string(number) +
            R"(","devtype":"TX","devaddr":"10.77.1.1","devnetmask":"255.255.0.0",)"
            R"("devgateway":"10.77.0.1","devmac":"02:77:00:00:00:01","status":"online",)"
            R"("version":"1.2.5"})");
}

}  // namespace bench
