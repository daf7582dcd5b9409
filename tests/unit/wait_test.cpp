// Waiting for a descriptor: what counts as ready, what as a failure, and for how long.
#include "base/wait.hpp"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <csignal>

#include "channel.hpp"

namespace {

// Far more than any of these waits takes; a wait that misses its event ends with it.
constexpr int kLongMs = 20'000;

using Clock = std::chrono::steady_clock;

void fill(const avoip::Descriptor& end) {
    ::fcntl(end.get(), F_SETFL, O_NONBLOCK);
    const std::string bytes(65536, 'x');
    while (::write(end.get(), bytes.data(), bytes.size()) > 0) {
    }
}

TEST(Wait, sees_what_is_there) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "x");
    EXPECT_EQ(Wait_readable(channel.ours.get(), kLongMs), 1);
    EXPECT_EQ(Wait_readable(channel.ours.get(), 0), 1);
    EXPECT_EQ(Wait_writable(channel.ours.get(), kLongMs), 1);
    EXPECT_EQ(Wait_readableOrWritable(channel.ours.get(), kLongMs), 1);
}

TEST(Wait, ends_with_zero_when_the_time_has_passed) {
    const Channel channel = makeSocketPair();
    const auto begin = Clock::now();
    EXPECT_EQ(Wait_readable(channel.ours.get(), 50), 0);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(50));
    EXPECT_EQ(Wait_readable(channel.ours.get(), 0), 0);
}

TEST(Wait, for_writing_ends_with_zero_while_there_is_no_room) {
    const Channel channel = makeSocketPair();
    fill(channel.ours);
    EXPECT_EQ(Wait_writable(channel.ours.get(), 10), 0);
    EXPECT_EQ(Wait_readableOrWritable(channel.ours.get(), 10), 0);
    put(channel.theirs, "x");
    EXPECT_EQ(Wait_writable(channel.ours.get(), 10), 0);
    EXPECT_EQ(Wait_readableOrWritable(channel.ours.get(), kLongMs), 1);
}

TEST(Wait, works_for_descriptors_from_1024_on) {
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    const Channel channel = makeSocketPair();
    for (const int least : {1024, 3000}) {
        if (limit.rlim_cur <= static_cast<rlim_t>(least)) {
            GTEST_SKIP() << "this system allows no descriptor " << least;
        }
        const avoip::Descriptor high(::fcntl(channel.ours.get(), F_DUPFD_CLOEXEC, least));
        ASSERT_GE(high.get(), least);
        EXPECT_EQ(Wait_readable(high.get(), 0), 0);
        EXPECT_EQ(Wait_writable(high.get(), 0), 1);
        put(channel.theirs, "x");
        EXPECT_EQ(Wait_readable(high.get(), kLongMs), 1);
        EXPECT_EQ(Wait_readableOrWritable(high.get(), kLongMs), 1);
        EXPECT_EQ(readAtOnce(high), "x");
    }
}

TEST(Wait, fails_at_once_for_a_negative_descriptor) {
    for (auto* wait : {Wait_readable, Wait_writable, Wait_readableOrWritable}) {
        errno = 0;
        EXPECT_EQ(wait(-1, kLongMs), -1);
        EXPECT_EQ(errno, EBADF);
    }
}

TEST(Wait, fails_at_once_for_a_closed_descriptor) {
    Channel channel = makeSocketPair();
    const int number = channel.ours.get();
    channel.ours.reset();
    errno = 0;
    EXPECT_EQ(Wait_readable(number, kLongMs), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(Wait, fails_at_once_for_a_negative_time_out) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "x");
    errno = 0;
    EXPECT_EQ(Wait_readable(channel.ours.get(), -1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(Wait, takes_the_end_of_a_stream_for_readable) {
    Channel channel = makeSocketPair();
    channel.theirs.reset();
    EXPECT_EQ(Wait_readable(channel.ours.get(), kLongMs), 1);
    Channel pipe = makePipe();
    pipe.theirs.reset();
    EXPECT_EQ(Wait_readable(pipe.ours.get(), kLongMs), 1);
}

TEST(Wait, takes_an_error_on_the_descriptor_for_ready) {
    // The read end is gone, so a write would fail at once.
    Channel pipe = makePipe();
    pipe.ours.reset();
    EXPECT_EQ(Wait_writable(pipe.theirs.get(), kLongMs), 1);
}

TEST(Wait, fails_when_a_signal_comes) {
    const Channel channel = makeSocketPair();
    struct sigaction act {};
    act.sa_handler = [](int) {};
    ASSERT_EQ(::sigaction(SIGALRM, &act, nullptr), 0);
    // Again and again, since the first may come before the wait has begun.
    constexpr timeval kPeriod{.tv_sec = 0, .tv_usec = 10'000};
    const itimerval every{.it_interval = kPeriod, .it_value = kPeriod};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &every, nullptr), 0);
    const int result = Wait_readable(channel.ours.get(), kLongMs);
    const int error = errno;
    const itimerval never{};
    ASSERT_EQ(::setitimer(ITIMER_REAL, &never, nullptr), 0);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
}

}  // namespace
