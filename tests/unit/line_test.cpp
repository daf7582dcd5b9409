// Command lines: where a line ends, what stays unread behind it, and what trimming removes.
#include "console/line.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>
#include <thread>

#include "channel.hpp"

namespace {

/// A line buffer as a connection has it, and what reading into it gave.
struct Line {
    std::array<char, kLineBufferSize> buffer{};
    int count = 0;

    [[nodiscard]] std::string text() const { return buffer.data(); }
};

Line readLine(const avoip::Descriptor& source) {
    Line line;
    line.count = Telnet_readLine(source.get(), line.buffer.data(), kLineBufferSize);
    return line;
}

std::string trimmed(const std::string& text, int count) {
    std::string buffer = text + '\0';
    EXPECT_EQ(Telnet_trimLine(buffer.data(), count), nullptr);
    return buffer.substr(0, buffer.find('\0'));
}

std::string trimmed(const std::string& text) {
    return trimmed(text, static_cast<int>(text.size()));
}

TEST(ReadLine, ends_at_the_exclamation_mark_and_keeps_it) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "config get devices!");
    const Line line = readLine(channel.ours);
    EXPECT_EQ(line.count, 19);
    EXPECT_EQ(line.text(), "config get devices!");
}

TEST(ReadLine, leaves_every_byte_behind_the_line_unread) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "one!two!!rest");
    EXPECT_EQ(readLine(channel.ours).text(), "one!");
    EXPECT_EQ(readLine(channel.ours).text(), "two!");
    EXPECT_EQ(readLine(channel.ours).text(), "!");
    EXPECT_EQ(readAtOnce(channel.ours), "rest");
}

TEST(ReadLine, takes_one_byte_from_a_datagram_and_so_reads_byte_by_byte) {
    // A read takes a whole packet and drops what it has no room for, so each read shows.
    const Channel channel = makeSocketPair(SOCK_SEQPACKET);
    for (const char* packet : {"abc", "defg", "h", "!x"}) {
        put(channel.theirs, packet);
    }
    EXPECT_EQ(readLine(channel.ours).text(), "adh!");
}

TEST(ReadLine, waits_for_the_rest_of_a_line) {
    const Channel channel = makeSocketPair();
    Line line;
    std::jthread reader([&] { line = readLine(channel.ours); });
    for (const char* piece : {"a", "b", "c", "!"}) {
        put(channel.theirs, piece);
        std::this_thread::yield();
    }
    reader.join();
    EXPECT_EQ(line.text(), "abc!");
}

TEST(ReadLine, ends_after_4095_bytes_and_leaves_the_next_byte) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, std::string(4095, 'x') + "yz!");
    const Line line = readLine(channel.ours);
    EXPECT_EQ(line.count, 4095);
    EXPECT_EQ(line.text(), std::string(4095, 'x'));
    EXPECT_EQ(line.buffer.back(), '\0');
    EXPECT_EQ(readLine(channel.ours).text(), "yz!");
}

TEST(ReadLine, may_have_the_exclamation_mark_as_its_4095th_byte) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, std::string(4094, 'x') + "!next!");
    EXPECT_EQ(readLine(channel.ours).text(), std::string(4094, 'x') + '!');
    EXPECT_EQ(readLine(channel.ours).text(), "next!");
}

TEST(ReadLine, has_a_limit_that_does_not_depend_on_the_size_it_is_given) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "a longer line!");
    Line line;
    EXPECT_EQ(Telnet_readLine(channel.ours.get(), line.buffer.data(), 3), 14);
    EXPECT_EQ(line.text(), "a longer line!");
    put(channel.theirs, std::string(4096, 'x'));
    EXPECT_EQ(Telnet_readLine(channel.ours.get(), line.buffer.data(), 10000), 4095);
}

TEST(ReadLine, keeps_zero_bytes_and_line_ends) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, std::string("a\0\r\nb!", 6));
    const Line line = readLine(channel.ours);
    EXPECT_EQ(line.count, 6);
    EXPECT_EQ(std::string(line.buffer.data(), 7), std::string("a\0\r\nb!\0", 7));
}

TEST(ReadLine, returns_zero_at_the_end_of_the_stream) {
    Channel channel = makeSocketPair();
    channel.theirs.reset();
    EXPECT_EQ(readLine(channel.ours).count, 0);
}

TEST(ReadLine, returns_zero_at_the_end_of_the_stream_in_the_middle_of_a_line) {
    Channel channel = makeSocketPair();
    put(channel.theirs, "half a line");
    channel.theirs.reset();
    EXPECT_EQ(readLine(channel.ours).count, 0);
}

TEST(ReadLine, returns_minus_one_on_a_read_error) {
    Line line;
    EXPECT_EQ(Telnet_readLine(-1, line.buffer.data(), kLineBufferSize), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(ReadLine, returns_minus_one_on_a_read_error_in_the_middle_of_a_line) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "half a line");
    ASSERT_EQ(::fcntl(channel.ours.get(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(readLine(channel.ours).count, -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(TrimLine, leaves_a_clean_line_as_it_is) {
    EXPECT_EQ(trimmed("config get devices!"), "config get devices!");
    EXPECT_EQ(trimmed("!"), "!");
    EXPECT_EQ(trimmed(""), "");
}

TEST(TrimLine, strips_blanks_at_the_very_start) {
    EXPECT_EQ(trimmed(" a!"), "a!");
    EXPECT_EQ(trimmed("    a b!"), "a b!");
    EXPECT_EQ(trimmed("   "), "");
}

TEST(TrimLine, strips_no_more_blanks_than_the_count) {
    EXPECT_EQ(trimmed("    a!", 2), "  a!");
    EXPECT_EQ(trimmed("    a!", 0), "    a!");
    EXPECT_EQ(trimmed("    a!", -1), "    a!");
}

TEST(TrimLine, removes_every_carriage_return_and_line_feed) {
    EXPECT_EQ(trimmed("\r\na\r\rb\n\nc\n\rd!\r\n"), "abcd!");
    EXPECT_EQ(trimmed("\r\n\r\n"), "");
}

TEST(TrimLine, removes_them_whatever_the_count) {
    EXPECT_EQ(trimmed("a\r\nb\r\n!", 0), "ab!");
}

TEST(TrimLine, keeps_blanks_behind_a_leading_carriage_return_or_line_feed) {
    EXPECT_EQ(trimmed("\r\n  a!"), "  a!");
    EXPECT_EQ(trimmed("\r  a!"), "  a!");
    EXPECT_EQ(trimmed("\n  a!"), "  a!");
}

TEST(TrimLine, strips_the_blanks_before_a_leading_line_end_only) {
    EXPECT_EQ(trimmed("  \r\n  a!"), "  a!");
    EXPECT_EQ(trimmed("  \r\na!"), "a!");
}

TEST(TrimLine, keeps_blanks_inside_and_at_the_end) {
    EXPECT_EQ(trimmed("a  b !"), "a  b !");
    EXPECT_EQ(trimmed("a! "), "a! ");
}

TEST(TrimLine, keeps_tabs) {
    EXPECT_EQ(trimmed("\ta!"), "\ta!");
    EXPECT_EQ(trimmed(" \t a\t!"), "\t a\t!");
}

TEST(TrimLine, ends_at_the_first_zero_byte) {
    std::string buffer("  a\0\r  b", 8);
    Telnet_trimLine(buffer.data(), 8);
    EXPECT_STREQ(buffer.c_str(), "a");
}

}  // namespace
