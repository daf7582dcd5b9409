#include "console/console.hpp"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/output.hpp"
#include "base/unreleased.hpp"
#include "base/wait.hpp"
#include "console/answer_segment.hpp"
#include "console/line.hpp"

namespace {

constexpr int kPollPeriodMs = 1000;
constexpr int kBacklog = 128;
/// Longer than the poll period, so that every idle connection sees the end of the listener.
constexpr useconds_t kStopPauseUs = 1'200'000;

struct ConsoleState {
    std::uint32_t port;
    /// 0 when there is none; the system never gives that handle out.
    pthread_t listener;
    /// 1 from start to stop.
    std::atomic<int> running;
    /// 1 while the listener holds its socket and the answer segment.
    std::atomic<int> ready;
    std::atomic<CommandHandler> handler;
};

ConsoleState console;

int load(const std::atomic<int>& flag) {
    return flag.load(std::memory_order_relaxed);
}

void store(std::atomic<int>& flag, int value) {
    flag.store(value, std::memory_order_relaxed);
}

/// Opens, binds and starts the listening socket. A socket that cannot be bound stays open.
int openListener() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(static_cast<std::uint16_t>(console.port & 0xFFFFU));
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) {
        Output_systemError("socket");
        return -1;
    }
    const int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        Output_systemError("bind");
        return -1;
    }
    ::listen(listener, kBacklog);
    Output_print("Server: listening for client requests....\n");
    return listener;
}

void* connectionThread(void* argument) {
    const auto socket = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
    try {
        Telnet_client(socket);
    } catch (const std::bad_alloc&) {
        // Without memory this connection ends; the others go on.
    }
    ::close(socket);
    return nullptr;
}

void* listenerThread(void* /*argument*/) {
    Telnet_server();
    return nullptr;
}

/// Lets the system find out that a front end is gone without having said so, and end the connection
/// within 60 + 5 * 20 seconds of silence.
void keepAlive(int socket) {
    constexpr struct {
        int level, option, value;
    } kOptions[] = {{SOL_SOCKET, SO_KEEPALIVE, 1},
                    {IPPROTO_TCP, TCP_KEEPIDLE, 60},
                    {IPPROTO_TCP, TCP_KEEPINTVL, 20},
                    {IPPROTO_TCP, TCP_KEEPCNT, 5}};
    for (const auto& [level, option, value] : kOptions) {
        ::setsockopt(socket, level, option, &value, sizeof value);
    }
}

/// Accepts connections until the console is stopped. Threads are neither joined nor detached
/// (kept: connection-leaks).
/// @return 0 when stopped, 1 after a failed accept, -1 without a thread
int acceptConnections(int listener) {
    while (load(console.running) != 0) {
        if (Wait_readable(listener, kPollPeriodMs) <= 0) {
            continue;
        }
        const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            Output_systemError("accept");
            return 1;
        }
        keepAlive(socket);
        pthread_t thread{};
        // The descriptor itself is the thread's argument.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        void* argument = reinterpret_cast<void*>(static_cast<std::intptr_t>(socket));
        if (::pthread_create(&thread, nullptr, connectionThread, argument) != 0) {
            Output_print("Telnet: telnet_starting.......err!\n");
            return -1;
        }
    }
    return 0;
}

/// The answer buffer of this thread's connection; null on other threads.
thread_local char* ownAnswer = nullptr;

bool isZero(const char* memory, std::size_t size) {
    return size == 0 || (memory[0] == '\0' && std::memcmp(memory, memory + 1, size - 1) == 0);
}

/// Makes memory zero of which, as a rule, a text at its beginning is all that is not.
void clear(char* memory, std::size_t size) {
    const std::size_t text = ::strnlen(memory, size);
    std::memset(memory, 0, text);
    if (!isZero(memory + text, size - text)) {
        std::memset(memory + text, 0, size - text);
    }
}

/// Makes a connection's own answer buffer zero, whatever a handler has written into it, without
/// keeping more of it in memory than small answers need: what stands before its first whole page is
/// cleared, and the whole pages are given back to the system, which supplies zeroed ones.
/// @return false when the system takes none back
bool giveBack(char* answer, std::size_t size) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t offset = reinterpret_cast<std::uintptr_t>(answer) % page;
    const std::size_t first = page - offset;
    const std::size_t whole = size > first ? (size - first) / page * page : 0;
    if (whole == 0 || ::madvise(answer + first, whole, MADV_DONTNEED) != 0) {
        return false;
    }
    clear(answer, first);
    clear(answer + first + whole, size - first - whole);
    return true;
}

}  // namespace

int Telnet_init() {
    console.port = 0;
    console.listener = pthread_t{};
    store(console.ready, 0);
    store(console.running, 0);
    console.handler.store(nullptr);
    return 0;
}

int Telnet_setHandler(CommandHandler handler) {
    console.handler.store(handler);
    return 0;
}

int Telnet_start(std::uint32_t port) {
    if (load(console.running) == 1) {
        return 0;
    }
    console.port = port;
    store(console.running, 1);
    if (::pthread_create(&console.listener, nullptr, listenerThread, nullptr) != 0) {
        console.listener = pthread_t{};
        Output_print("Telnet: telnet_starting.......err!\n");
        return -1;
    }
    return 0;
}

int Telnet_stop() {
    if (load(console.running) == 0) {
        return 0;
    }
    store(console.running, 0);
    // A start without a thread counts as started too.
    if (console.listener != pthread_t{}) {
        ::pthread_join(console.listener, nullptr);
        console.listener = pthread_t{};
    }
    return 0;
}

int Telnet_server() {
    const int listener = openListener();
    if (listener < 0) {
        return -1;
    }
    const int segment = AnswerSegment_get();
    if (segment < 0) {
        return -1;
    }
    AnswerSegment_attach(segment);
    store(console.ready, 1);

    const int result = acceptConnections(listener);
    if (result != 0) {
        // Nothing is cleaned up (kept: listener-ends).
        return result;
    }
    store(console.ready, 0);
    // cppcheck-suppress invalidFunctionArg ; Linux takes pauses of a second and more
    ::usleep(kStopPauseUs);
    ::close(listener);
    AnswerSegment_remove(segment);
    Output_print("exit server_sockfd(%d)\n", listener);
    return 0;
}

void Telnet_client(int socket) {
    std::array<char, kLineBufferSize> line{};
    // Never released (kept: connection-leaks).
    auto* answer = static_cast<char*>(std::calloc(kAnswerBufferSize, 1));
    if (answer == nullptr) {
        Output_print("Telnet: no memory for an answer buffer, the connection ends\n");
        return;
    }
    Unreleased_keep(answer);
    ownAnswer = answer;
    while (load(console.ready) != 0) {
        if (Wait_readable(socket, kPollPeriodMs) <= 0) {
            continue;
        }
        const int count = Telnet_readLine(socket, line.data(), kLineBufferSize);
        if (count <= 0) {
            return;
        }
        Telnet_trimLine(line.data(), count);
        // Anywhere in the line (kept: exit-anywhere).
        if (std::strstr(line.data(), "exit") != nullptr) {
            return;
        }
        Telnet_runHandler(socket, line.data(), answer, kAnswerBufferSize);
        std::fill_n(line.begin(), count, '\0');
    }
}

int Telnet_runHandler(int socket, const char* line, char* answer, std::size_t answerSize) {
    if (answer != ownAnswer || !giveBack(answer, answerSize)) {
        std::memset(answer, 0, answerSize);
    }
    const CommandHandler handler = console.handler.load();
    if (handler == nullptr) {
        return 0;
    }
    if (handler(socket, line, answer) != 0) {
        return -1;
    }
    AnswerSegment_post({answer, ::strnlen(answer, answerSize)});
    return 0;
}
