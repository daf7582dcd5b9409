// Passing lines on without ever waiting, and making them harmless.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

#include "avoipguard/does/relay.hpp"
#include "avoipguard/does/watch.hpp"
#include "avoipguard/escape.hpp"

namespace avoip::guard {
namespace {

/// Both ends of a pipe, or of a pair of sockets, of which the second is written to.
struct Ends {
    explicit Ends(bool areSockets = false) {
        std::array<int, 2> numbers{};
        EXPECT_EQ(areSockets ? ::socketpair(AF_UNIX, SOCK_STREAM, 0, numbers.data())
                             : ::pipe(numbers.data()),
                  0);
        readEnd = Descriptor(numbers[0]);
        writeEnd = Descriptor(numbers[1]);
        ::fcntl(readEnd.get(), F_SETFL, O_NONBLOCK);
    }

    std::string read() const {
        std::string text;
        std::array<char, 65536> piece;
        ssize_t count = 0;
        while ((count = ::read(readEnd.get(), piece.data(), piece.size())) > 0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

    Descriptor readEnd;
    Descriptor writeEnd;
};

TEST(GuardEscape, leaves_letters_alone_whatever_their_script) {
    for (const std::string text : {"", "plain \"text\" \\x", "Ärger 音 \xf0\x9f\x98\x80"}) {
        EXPECT_EQ(Escape_line(text), text);
    }
}

TEST(GuardEscape, shows_what_is_no_letter_as_bytes) {
    EXPECT_EQ(Escape_line(std::string("\0\x01\t\r\x1f\x7f", 6)), "\\x00\\x01\\x09\\x0D\\x1F\\x7F");
    // C1 controls, and marks and overrides of the direction of writing.
    EXPECT_EQ(Escape_line("\xc2\x80\xc2\x9f|\xc2\xa0"), "\\xC2\\x80\\xC2\\x9F|\xc2\xa0");
    EXPECT_EQ(Escape_line("\xd8\x9c\xe2\x80\x8e\xe2\x80\x8f"),
              "\\xD8\\x9C\\xE2\\x80\\x8E\\xE2\\x80\\x8F");
    EXPECT_EQ(Escape_line("\xe2\x80\xaa\xe2\x80\xae\xe2\x81\xa6\xe2\x81\xa9"),
              "\\xE2\\x80\\xAA\\xE2\\x80\\xAE\\xE2\\x81\\xA6\\xE2\\x81\\xA9");
}

TEST(GuardEscape, shows_bytes_that_are_no_utf_8) {
    EXPECT_EQ(Escape_line("\xff\xfe\x80"), "\\xFF\\xFE\\x80");
    // Longer than they need to be, halves of pairs, beyond the last one, and cut off.
    EXPECT_EQ(Escape_line("\xc0\xaf"), "\\xC0\\xAF");
    EXPECT_EQ(Escape_line("\xe0\x80\xaf"), "\\xE0\\x80\\xAF");
    EXPECT_EQ(Escape_line("\xed\xa0\x80"), "\\xED\\xA0\\x80");
    EXPECT_EQ(Escape_line("\xf4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
    EXPECT_EQ(Escape_line("a\xe2\x82"), "a\\xE2\\x82");
    EXPECT_EQ(Escape_line("\xe2\x82z"), "\\xE2\\x82z");
    EXPECT_EQ(Escape_line("\xf0\x9f\x98"), "\\xF0\\x9F\\x98");
}

TEST(GuardRelay, passes_whole_lines_on) {
    for (const bool areSockets : {false, true}) {
        const Ends ends(areSockets);
        Relay relay = Relay_open(ends.writeEnd.get());
        Relay_take(relay, "one\ntw");
        Relay_write(relay);
        EXPECT_EQ(ends.read(), "one\n");
        Relay_take(relay, "o\n\nthree");
        Relay_write(relay);
        EXPECT_EQ(ends.read(), "two\n\n");
        Relay_endLine(relay);
        Relay_line(relay, "own\x1b");
        Relay_endLine(relay);
        Relay_write(relay);
        EXPECT_EQ(ends.read(), "three\nown\\x1B\n");
        EXPECT_FALSE(Relay_isWaiting(relay));
    }
}

TEST(GuardRelay, ends_a_line_that_is_too_long) {
    const Ends ends;
    Relay relay = Relay_open(ends.writeEnd.get());
    Relay_take(relay, std::string(16384, 'x') + "y\n");
    Relay_write(relay);
    EXPECT_EQ(ends.read(), std::string(16384, 'x') + "\ny\n");
}

TEST(GuardRelay, never_waits_and_counts_the_lines_that_have_no_room) {
    for (const bool areSockets : {false, true}) {
        const Ends ends(areSockets);
        Relay relay = Relay_open(ends.writeEnd.get());
        const std::string line = std::string(1023, 'x') + "\n";
        constexpr std::size_t kLines = 2000;
        for (std::size_t i = 0; i < kLines; ++i) {
            Relay_take(relay, line);
            Relay_write(relay);
        }
        EXPECT_TRUE(Relay_isWaiting(relay));
        std::string text;
        while (Relay_isWaiting(relay)) {
            text += ends.read();
            Relay_write(relay);
        }
        Relay_take(relay, "behind\n");
        Relay_write(relay);
        text += ends.read();
        const std::size_t note = text.find("avoipguard: ");
        ASSERT_NE(note, std::string::npos);
        const std::string said = text.substr(note, text.find('\n', note) + 1 - note);
        const std::size_t dropped = std::stoul(said.substr(12));
        EXPECT_EQ(said, "avoipguard: " + std::to_string(dropped) +
                            " lines dropped: whoever reads this output is too slow.\n");
        EXPECT_GE((kLines - dropped) * line.size(), 256U * 1024);
        EXPECT_EQ(text.size(), (kLines - dropped) * line.size() + said.size() + 7);
        EXPECT_TRUE(text.ends_with("behind\n"));
    }
}

TEST(GuardRelay, loses_what_nobody_can_read_any_more) {
    ::signal(SIGPIPE, SIG_IGN);
    for (const bool areSockets : {false, true}) {
        Ends ends(areSockets);
        Relay relay = Relay_open(ends.writeEnd.get());
        ends.readEnd.reset();
        Relay_take(relay, "lost\n");
        Relay_write(relay);
        EXPECT_FALSE(Relay_isWaiting(relay));
    }
}

TEST(GuardWatch, finds_the_identity_in_the_first_words) {
    EXPECT_EQ(Watch_identity("local mac:001122aabbcc \nServer: ..."), "001122aabbcc");
    EXPECT_EQ(Watch_identity("mac ioctl error\nServer: ..."), "");
    EXPECT_EQ(Watch_identity("local mac:001122aabb"), "");
    EXPECT_EQ(Watch_identity("local mac:001122AABBCC \n"), "");
    EXPECT_EQ(Watch_identity(""), "");
    Watch watch;
    Watch_hear(watch, "local mac:0011");
    Watch_hear(watch, "22aabbcc \n" + std::string(10000, 'x'));
    EXPECT_EQ(Watch_identity(watch.firstWords), "001122aabbcc");
    EXPECT_EQ(watch.firstWords.size(), 4096U);
}

}  // namespace
}  // namespace avoip::guard
