#include "base/wait.hpp"

#include <poll.h>

#include <cerrno>

namespace {

int waitFor(int descriptor, short events, int timeoutMs) {
    // poll() would pass over a negative descriptor and take a negative time-out for "for ever".
    if (descriptor < 0 || timeoutMs < 0) {
        errno = descriptor < 0 ? EBADF : EINVAL;
        return -1;
    }
    pollfd entry{.fd = descriptor, .events = events, .revents = 0};
    const int result = ::poll(&entry, 1, timeoutMs);
    if (result > 0 && (entry.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return result;
}

}  // namespace

int Wait_readable(int descriptor, int timeoutMs) {
    return waitFor(descriptor, POLLIN, timeoutMs);
}

int Wait_writable(int descriptor, int timeoutMs) {
    return waitFor(descriptor, POLLOUT, timeoutMs);
}

int Wait_readableOrWritable(int descriptor, int timeoutMs) {
    return waitFor(descriptor, POLLIN | POLLOUT, timeoutMs);
}
