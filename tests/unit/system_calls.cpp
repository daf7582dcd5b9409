#include "system_calls.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <utility>

namespace {

thread_local SystemCalls* current = nullptr;

template <class Function>
Function* systemsOwn(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int failWith(int error) {
    errno = error;
    return -1;
}

/// Whether the next of these calls goes through, and then with `count` bytes or with a single one.
/// Sets errno where it does not.
bool goesThrough(std::vector<int>& errors, std::size_t& count) {
    if (errors.empty()) {
        return true;
    }
    const int error = errors.front();
    errors.erase(errors.begin());
    if (error != 0) {
        errno = error;
        return false;
    }
    count = 1;
    return true;
}

}  // namespace

SystemCalls::Turn::Turn(SystemCalls* calls) : before_(std::exchange(current, calls)) {}

SystemCalls::Turn::~Turn() {
    current = before_;
}

extern "C" int poll(pollfd* entries, nfds_t count, int timeout_ms) {
    static const auto real = systemsOwn<int(pollfd*, nfds_t, int)>("poll");
    SystemCalls* const calls = current;
    if (calls == nullptr) {
        return real(entries, count, timeout_ms);
    }
    const SystemCalls::Turn systems(nullptr);
    calls->waits.push_back(timeout_ms);
    if (std::cmp_equal(calls->waits.size(), calls->failingWait + 1)) {
        return failWith(EINTR);
    }
    return real(entries, count, calls->shorten(entries->fd, timeout_ms));
}

extern "C" int usleep(useconds_t microseconds) {
    static const auto real = systemsOwn<int(useconds_t)>("usleep");
    if (current == nullptr) {
        return real(microseconds);
    }
    current->pauses.push_back(microseconds);
    return 0;
}

extern "C" ssize_t read(int descriptor, void* bytes, size_t count) {
    static const auto real = systemsOwn<ssize_t(int, void*, size_t)>("read");
    return real(descriptor, bytes,
                current == nullptr ? count : std::min(count, current->readAtMost));
}

extern "C" ssize_t pread(int descriptor, void* bytes, size_t count, off_t offset) {
    static const auto real = systemsOwn<ssize_t(int, void*, size_t, off_t)>("pread");
    return real(descriptor, bytes,
                current == nullptr ? count : std::min(count, current->readAtMost), offset);
}

extern "C" ssize_t write(int descriptor, const void* bytes, size_t count) {
    static const auto real = systemsOwn<ssize_t(int, const void*, size_t)>("write");
    if (current != nullptr && !goesThrough(current->writeErrors, count)) {
        return -1;
    }
    return real(descriptor, bytes, count);
}

extern "C" ssize_t send(int socket, const void* bytes, size_t count, int flags) {
    static const auto real = systemsOwn<ssize_t(int, const void*, size_t, int)>("send");
    if (current == nullptr) {
        return real(socket, bytes, count, flags);
    }
    if (!goesThrough(current->sendErrors, count)) {
        return -1;
    }
    const ssize_t sent = real(socket, bytes, count, flags);
    current->bytesSent += static_cast<std::size_t>(std::max<ssize_t>(sent, 0));
    return sent;
}

// The system's header says that it throws nothing.
extern "C" int setsockopt(int socket, int level, int name, const void* value,
                          socklen_t size) noexcept {
    static const auto real = systemsOwn<int(int, int, int, const void*, socklen_t)>("setsockopt");
    if (current != nullptr) {
        SocketOption option{.level = level, .name = name, .value = 0};
        std::memcpy(&option.value, value, std::min<std::size_t>(size, sizeof option.value));
        current->options.push_back(option);
        if (name == current->refusedOption) {
            return failWith(EPERM);
        }
    }
    return real(socket, level, name, value, size);
}

extern "C" int shmget(key_t key, size_t size, int flags) noexcept {
    static const auto real = systemsOwn<int(key_t, size_t, int)>("shmget");
    if (current != nullptr) {
        const SystemCalls* const calls = current;
        const SystemCalls::Turn systems(nullptr);
        calls->beforeShmget();
    }
    return real(key, size, flags);
}

extern "C" int fcntl(int descriptor, int command, ...) {
    static const auto real = systemsOwn<int(int, int, ...)>("fcntl");
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (current != nullptr && command == F_SETFL &&
        current->flagChanges++ == current->failingFlagChange) {
        return failWith(EPERM);
    }
    return real(descriptor, command, argument);
}
