#include "fuzz/bed.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "base/json.hpp"
#include "dispatch/dispatch.hpp"
#include "fuzz/fuzz.hpp"
#include "fuzz/kept_assertion.hpp"
#include "fuzz/private_network.hpp"
#include "kit/answer.hpp"
#include "lib/image/image.hpp"
#include "protocol/client.hpp"

namespace fuzz {

namespace {

constexpr std::uint16_t kRequestPort = 8002;
constexpr std::uint16_t kReplyPort = 8003;
constexpr std::uint16_t kUploadPort = 5888;
/// Where the images stand; everything that an input leaves open is below.
constexpr int kFirstImage = 900;
constexpr std::int32_t kImageSize = 10'000;

/// The devices' ends: the port that requests go to, and the one that takes uploads.
int deviceSocket = -1;
int uploadSocket = -1;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int boundSocket(int type, std::uint16_t port) {
    const int descriptor = ::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const sockaddr_in address = loopback(port);
    require(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "the device's port is free");
    return descriptor;
}

void makeImage(int descriptor, std::string_view name) {
    const int file = ::memfd_create("image", 0);
    avoip::FirmwareInfoBlock block{
        .magic = avoip::kImageMagic, .version = {1, 2, 3}, .name = {}, .size = kImageSize};
    name.copy(block.name.data(), avoip::kImageNameSize);
    const auto bytes = avoip::Image_encode(block);
    require(::pwrite(file, bytes.data(), bytes.size(), avoip::kInfoBlockOffset) > 0 &&
                ::dup2(file, descriptor) == descriptor,
            "an image can be made");
    ::close(file);
}

/// A failed send has closed the client's socket for good; the next input gets a new client.
void renewClient() {
    if (daemonClient != nullptr && daemonClient->socket.peek() >= 0) {
        return;
    }
    if (daemonClient != nullptr) {
        Protocol_client_destroy(daemonClient);
    }
    require(Protocol_client_create(&daemonClient, "lo", "Control", kHostIdentity, "127.0.0.1",
                                   kRequestPort) == 0,
            "the client can be created");
}

void queueReplies(std::span<const std::string_view> replies) {
    const sockaddr_in client = loopback(kReplyPort);
    for (const std::string_view reply : replies) {
        ::sendto(deviceSocket, reply.data(), reply.size(), 0,
                 reinterpret_cast<const sockaddr*>(&client), sizeof client);
    }
    if (!replies.empty()) {
        pollfd entry{.fd = daemonClient->socket.peek(), .events = POLLIN, .revents = 0};
        ::poll(&entry, 1, 1000);
    }
}

void requireRequests() {
    static std::array<char, 65536> datagram;
    ssize_t count = 0;
    while ((count = ::recv(deviceSocket, datagram.data(), datagram.size() - 1, 0)) >= 0) {
        datagram[static_cast<std::size_t>(count)] = '\0';
        const JsonTree tree = Json_parse(datagram.data());
        require(Json_find(Json_find(tree.get(), "request"), "cmd") != nullptr,
                "a datagram is a JSON document with a request");
    }
}

void requireAck(const char* answer) {
    const JsonTree tree = Json_parse(answer);
    const cJSON* ack = Json_find(tree.get(), "ack");
    require(Json_find(ack, "cmd") != nullptr && Json_find(ack, "status") != nullptr,
            "an answer is a JSON document with an ack");
}

/// Takes everything away that the input has left: unread replies, uploads, and the descriptors that
/// are left open on purpose, which are the numbers from `firstFree` on.
void clearUp(unsigned firstFree) {
    char byte = 0;
    while (::recv(daemonClient->socket.peek(), &byte, sizeof byte, MSG_DONTWAIT) >= 0) {
    }
    int upload = -1;
    while ((upload = ::accept(uploadSocket, nullptr, nullptr)) >= 0) {
        ::close(upload);
    }
    ::close_range(firstFree, kFirstImage - 1, 0);
}

}  // namespace

void startBed() {
    enterPrivateNetwork();
    makeImage(kFirstImage, "TX");
    makeImage(kFirstImage + 1, "RX");
    deviceSocket = boundSocket(SOCK_DGRAM, kRequestPort);
    uploadSocket = boundSocket(SOCK_STREAM, kUploadPort);
    ::listen(uploadSocket, 128);
}

std::string runCommand(const std::string& line, std::span<const std::string_view> replies) {
    // Zeroed between commands, as a connection's own buffer is.
    static std::array<char, kAnswerCapacity> answer;

    renewClient();
    queueReplies(replies);
    const int firstFree = ::fcntl(deviceSocket, F_DUPFD_CLOEXEC, 0);
    ::close(firstFree);
    std::string text;
    try {
        require(Command_dispatch(-1, line.c_str(), answer.data()) == 0, "a line is answered");
        text.assign(answer.data(), ::strnlen(answer.data(), answer.size()));
        requireAck(text.c_str());
    } catch (const DaemonEnds&) {
        text.clear();
    }
    std::memset(answer.data(), 0, ::strnlen(answer.data(), answer.size()));
    requireRequests();
    clearUp(static_cast<unsigned>(firstFree));
    return text;
}

}  // namespace fuzz
