#include "base/wait.hpp"

#include <poll.h>

#include <cerrno>

namespace {

int waitFor(int descriptor, short events, int timeout_ms) {
    // poll() would pass over a negative descriptor and take a negative time-out for "for ever".
    if (descriptor < 0 || timeout_ms < 0) {
        errno = descriptor < 0 ? EBADF : EINVAL;
        return -1;
    }
    pollfd entry{.fd = descriptor, .events = events, .revents = 0};
    const int result = ::poll(&entry, 1, timeout_ms);
    if (result > 0 && (entry.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return result;
}

}  // namespace

int Wait_readable(int descriptor, int timeout_ms) {
    return waitFor(descriptor, POLLIN, timeout_ms);
}

int Wait_writable(int descriptor, int timeout_ms) {
    return waitFor(descriptor, POLLOUT, timeout_ms);
}

int Wait_readableOrWritable(int descriptor, int timeout_ms) {
    return waitFor(descriptor, POLLIN | POLLOUT, timeout_ms);
}
