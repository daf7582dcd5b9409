#include "lib/frontend/resolve.hpp"

#include <arpa/inet.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace avoip {

namespace {

/// A look-up on a thread of its own. It belongs to that thread and to whoever waits for it, and is
/// released by the one of the two that is done with it last.
struct LookUp {
    char host[256] = {};
    sockaddr_in address = {};
    int error = 0;
    std::atomic<bool> done = false;
    std::atomic<int> owners = 2;
};

void release(LookUp* lookUp) {
    if (--lookUp->owners == 0) {
        lookUp->~LookUp();
        std::free(lookUp);
    }
}

void* run(void* argument) {
    auto* const lookUp = static_cast<LookUp*>(argument);
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    lookUp->error = ::getaddrinfo(lookUp->host, nullptr, &hints, &found);
    if (lookUp->error == 0) {
        std::memcpy(&lookUp->address, found->ai_addr, sizeof lookUp->address);
        ::freeaddrinfo(found);
    }
    lookUp->done = true;
    release(lookUp);
    return nullptr;
}

/// Begins to look `host` up; null when the system has no memory or no thread for it.
LookUp* begin(const char* host) {
    void* const memory = std::malloc(sizeof(LookUp));
    if (memory == nullptr) {
        return nullptr;
    }
    auto* const lookUp = new (memory) LookUp;
    std::snprintf(lookUp->host, sizeof lookUp->host, "%s", host);
    pthread_t thread{};
    if (::pthread_create(&thread, nullptr, run, lookUp) != 0) {
        lookUp->owners = 1;
        release(lookUp);
        return nullptr;
    }
    ::pthread_detach(thread);
    return lookUp;
}

/// 0, or getaddrinfo()'s error; EAI_AGAIN when the time is up.
int lookUpUntil(const char* host, sockaddr_in& address, Deadline deadline) {
    LookUp* const lookUp = begin(host);
    if (lookUp == nullptr) {
        return EAI_MEMORY;
    }
    for (Pauses pauses; !lookUp->done && Deadline_left_us(deadline) > 0;) {
        Pauses_sleep(pauses, deadline, -1);
    }
    int error = EAI_AGAIN;
    if (lookUp->done) {
        address = lookUp->address;
        error = lookUp->error;
    }
    release(lookUp);
    return error;
}

}  // namespace

avoip_result Resolve_host(const char* host, sockaddr_in& address, Deadline deadline,
                          Reason& reason) {
    address = {};
    address.sin_family = AF_INET;
    if (::inet_pton(AF_INET, host, &address.sin_addr) == 1) {
        return AVOIP_OK;
    }
    if (const int error = lookUpUntil(host, address, deadline); error != 0) {
        Reason_set(reason, "The host %s is not known (%s). Use 127.0.0.1 for this machine.", host,
                   ::gai_strerror(error));
        return AVOIP_NO_DAEMON;
    }
    return AVOIP_OK;
}

}  // namespace avoip
