// The bare floor of a command: a server that makes the system calls that a command cannot do
// without, and nothing else. A read for each byte of a line, the query for the interface's address,
// one datagram to the group, the replies where there are any, and a copy into shared memory.
//
// It builds no JSON and reads none, prints nothing, looks at no state, and answers every line with
// the same text.
//
//   floor PORT SEGMENT_KEY REPLIES REQUEST ANSWER
//
// REPLIES is how many replies end the wait for them; "idle" is as many as come until there has been
// silence for half a second, and the answer is then what they said. A line with "exit" in it ends
// its connection. Each connection has a thread of its own.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr std::string_view kPrefix = "end\r\n";
constexpr std::size_t kSegmentSize = std::size_t{4} * 1024 * 1024;
constexpr int kReplyTimeoutMs = 3000;
constexpr int kIdleTimeoutMs = 500;

struct Floor {
    char* segment;
    int devices;
    bool untilIdle;
    int replies;
    std::string_view request;
    std::string_view answer;
};

int fail(const char* what) {
    std::perror(what);
    return 1;
}

sockaddr_in ipv4Address(const char* address, int port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<std::uint16_t>(port));
    result.sin_addr.s_addr = ::inet_addr(address);
    return result;
}

void queryAddress() {
    const int handle = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "eth0.2", IFNAMSIZ - 1);
    ::ioctl(handle, SIOCGIFADDR, &request);
    ::close(handle);
}

void post(const Floor& floor, std::string_view answer) {
    char* const text = floor.segment + kPrefix.size();
    std::memcpy(text, answer.data(), answer.size());
    text[answer.size()] = '\0';
    std::atomic_thread_fence(std::memory_order_release);
    std::memcpy(floor.segment, kPrefix.data(), kPrefix.size());
}

/// The next reply; 0 when there is none in time.
std::size_t takeReply(const Floor& floor, char* buffer, std::size_t room, int timeout_ms) {
    pollfd entry{floor.devices, POLLIN, 0};
    if (::poll(&entry, 1, timeout_ms) <= 0) {
        return 0;
    }
    const ssize_t got = ::recv(floor.devices, buffer, room, 0);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

void serveLine(const Floor& floor) {
    static const sockaddr_in group = ipv4Address("239.255.255.250", 8002);
    queryAddress();
    ::sendto(floor.devices, floor.request.data(), floor.request.size(), 0,
             reinterpret_cast<const sockaddr*>(&group), sizeof group);
    std::array<char, 1500> reply;
    if (!floor.untilIdle) {
        for (int i = 0; i < floor.replies; ++i) {
            takeReply(floor, reply.data(), reply.size(), kReplyTimeoutMs);
        }
        post(floor, floor.answer);
        return;
    }
    std::string replies;
    while (const std::size_t got = takeReply(floor, reply.data(), reply.size(), kIdleTimeoutMs)) {
        replies.append(reply.data(), got);
    }
    post(floor, replies);
}

void serve(const Floor& floor, int socket) {
    std::array<char, 4096> line{};
    std::size_t length = 0;
    while (length < line.size() && ::read(socket, &line[length], 1) == 1) {
        if (line[length++] != '!') {
            continue;
        }
        if (std::string_view(line.data(), length).find("exit") != std::string_view::npos) {
            break;
        }
        serveLine(floor);
        length = 0;
    }
    ::close(socket);
}

int run(Floor floor, int port, key_t key) {
    const int identifier = ::shmget(key, kSegmentSize, IPC_CREAT | 0664);
    void* const memory = ::shmat(identifier, nullptr, 0);
    if (memory == reinterpret_cast<void*>(-1)) {
        return fail("floor: the segment");
    }
    floor.segment = static_cast<char*>(memory);
    floor.devices = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int queue_bytes = 4 * 1024 * 1024;
    ::setsockopt(floor.devices, SOL_SOCKET, SO_RCVBUFFORCE, &queue_bytes, sizeof queue_bytes);

    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in address = ipv4Address("0.0.0.0", port);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 128) != 0) {
        return fail("floor: the port");
    }
    for (;;) {
        const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            return fail("floor: accept");
        }
        std::thread(serve, std::cref(floor), socket).detach();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("usage: floor PORT SEGMENT_KEY REPLIES|idle REQUEST ANSWER\n", stderr);
        return 2;
    }
    const bool untilIdle = std::string_view(argv[3]) == "idle";
    return run({.segment = nullptr,
                .devices = -1,
                .untilIdle = untilIdle,
                .replies = std::atoi(argv[3]),
                .request = argv[4],
                .answer = argv[5]},
               std::atoi(argv[1]), static_cast<key_t>(std::strtol(argv[2], nullptr, 0)));
}
