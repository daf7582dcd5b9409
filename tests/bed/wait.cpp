#include "bed/wait.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <thread>

namespace bed {

namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

void throwSystemError(const std::string& what) {
    throw Error(what + ": " + std::generic_category().message(errno));
}

bool awaitReadable(int descriptor, std::chrono::milliseconds patience) {
    const auto end = Clock::now() + patience;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd waited{.fd = descriptor, .events = POLLIN, .revents = 0};
        const int ready =
            ::poll(&waited, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (ready >= 0) {
            return ready > 0;
        }
        if (errno != EINTR) {
            throwSystemError("poll");
        }
    }
}

void awaitCondition(const std::string& what, const std::function<bool()>& condition,
                    std::chrono::milliseconds patience) {
    const auto end = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() > end) {
            throw Error("waited " + std::to_string(patience.count()) + " ms in vain for " + what);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

}  // namespace bed
