// The system calls of one thread in the test's hand: what is asked of the system is kept, and what
// comes of it is changed where the test says so. Times are proved by what is asked for, to the
// millisecond and without waiting, so that no test of a time depends on the machine's speed.
//
//     SystemCalls calls;
//     calls.shorten = [](int, int) { return 0; };
//     calls.during([&] { return Tcp_Recv(socket, buffer, size, 300); });
//     EXPECT_EQ(calls.waits, std::vector{300'000});
//
// A test that uses this has poll(), usleep(), read(), pread(), write(), send(), setsockopt(),
// shmget() and fcntl() of its own, which hand on to the system's. Only the thread that is in
// during() is concerned, and there not what the test's own functions do.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <vector>

/// An option that was set, as far as it is one number.
struct SocketOption {
    int level;
    int name;
    int value;
    bool operator==(const SocketOption&) const = default;
};

struct SystemCalls {
    /// Makes the call on the calling thread with this in the system's place.
    template <class Call>
    auto during(const Call& call) {
        const Turn turn(this);
        return call();
    }

    /// What was asked for, in order: the time-outs of poll() in milliseconds, the pauses of
    /// usleep() in microseconds, the options of setsockopt().
    std::vector<int> waits;
    std::vector<useconds_t> pauses;
    std::vector<SocketOption> options;
    /// How many bytes send() has taken.
    std::size_t bytesSent = 0;

    /// Is told of each wait when it is in `waits`, and says how long to wait in fact. A pause is
    /// never made.
    std::function<int(int descriptor, int timeout_ms)> shorten =
        [](int /*descriptor*/, int timeout_ms) { return timeout_ms; };

    /// Is called before each shmget().
    std::function<void()> beforeShmget = [] {};

    /// The error of each send() and write() to come, 0 for one that goes through with a single
    /// byte.
    std::vector<int> sendErrors;
    std::vector<int> writeErrors;
    /// The most that one read() or pread() gives.
    std::size_t readAtMost = std::numeric_limits<std::size_t>::max();

    /// The number, from 0, of the wait and of the change of descriptor flags that fails, and the
    /// name of the option that is refused; -1 for none.
    int failingWait = -1;
    int failingFlagChange = -1;
    int refusedOption = -1;
    int flagChanges = 0;

    /// For as long as it lives, `calls` stands in the system's place for this thread; null for
    /// nothing.
    class Turn {
      public:
        explicit Turn(SystemCalls* calls);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

      private:
        SystemCalls* before_;
    };
};
