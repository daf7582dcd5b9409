// The terminal helpers, which the daemon itself never calls.
#include "console/terminal.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "channel.hpp"

namespace {

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(SendOptions, writes_its_nine_bytes_at_once) {
    const Channel channel = makeSocketPair(SOCK_SEQPACKET);
    EXPECT_EQ(Telnet_sendOptions(channel.ours.get()), 9);
    EXPECT_EQ(readAtOnce(channel.theirs), "\xFF\xFB\x01\xFF\xFB\x03\xFF\xFC\x1F");
    EXPECT_EQ(readAtOnce(channel.theirs), "");
}

TEST(SendOptions, returns_the_result_of_a_failed_write) {
    EXPECT_EQ(Telnet_sendOptions(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(RedirectFd, makes_the_target_refer_to_the_source_until_it_is_restored) {
    const Channel first = makePipe();
    const Channel second = makePipe();
    const avoip::Descriptor& target = first.theirs;
    const avoip::Descriptor& source = second.theirs;

    int saved = -1;
    const int result = Telnet_redirectFd(source.get(), target.get(), &saved);
    EXPECT_EQ(result, saved);
    EXPECT_GT(saved, STDERR_FILENO);
    put(target, "redirected");
    EXPECT_EQ(readAtOnce(second.ours), "redirected");
    EXPECT_EQ(readAtOnce(first.ours), "");
    ASSERT_EQ(::write(saved, "saved", 5), 5);
    EXPECT_EQ(readAtOnce(first.ours), "saved");

    Telnet_restoreFd(saved, target.get());
    EXPECT_FALSE(isOpen(saved));
    EXPECT_TRUE(isOpen(source.get()));
    put(target, "restored");
    EXPECT_EQ(readAtOnce(first.ours), "restored");
    EXPECT_EQ(readAtOnce(second.ours), "");
}

TEST(RedirectFd, has_nothing_to_save_of_a_target_that_is_not_open) {
    const Channel channel = makePipe();
    const int number = ::fcntl(channel.ours.get(), F_DUPFD, 0);
    ASSERT_GE(number, 0);
    ASSERT_EQ(::close(number), 0);

    int saved = 0;
    EXPECT_EQ(Telnet_redirectFd(channel.theirs.get(), number, &saved), -1);
    EXPECT_EQ(saved, -1);
    const avoip::Descriptor target(number);
    put(target, "redirected");
    EXPECT_EQ(readAtOnce(channel.ours), "redirected");
}

}  // namespace
