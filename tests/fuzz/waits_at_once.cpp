// Stands in for base/wait.cpp: no wait lasts. All that an input's devices will ever send has come
// before its command runs.
#include <poll.h>

#include "base/wait.hpp"

namespace {

int look(int descriptor, short events) {
    pollfd entry{.fd = descriptor, .events = events, .revents = 0};
    if (descriptor < 0) {
        return -1;
    }
    const int result = ::poll(&entry, 1, 0);
    return result > 0 && (entry.revents & POLLNVAL) != 0 ? -1 : result;
}

}  // namespace

int Wait_readable(int descriptor, int /*timeout_ms*/) {
    return look(descriptor, POLLIN);
}

int Wait_writable(int descriptor, int /*timeout_ms*/) {
    return look(descriptor, POLLOUT);
}

int Wait_readableOrWritable(int descriptor, int /*timeout_ms*/) {
    return look(descriptor, POLLIN | POLLOUT);
}
