// Where what the daemon prints goes: at once, each text in one write, into whatever stands there.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <string>

#include "bed/session.hpp"
#include "families/commands.hpp"

namespace {

using families::failure;

struct Ends {
    bed::Descriptor mine;
    bed::Descriptor daemons;
};

/// A channel that keeps apart what was written apart.
Ends makePacketChannel() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        bed::throwSystemError("socketpair");
    }
    return {bed::Descriptor(ends[0]), bed::Descriptor(ends[1])};
}

Ends makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        bed::throwSystemError("pipe");
    }
    return {bed::Descriptor(ends[0]), bed::Descriptor(ends[1])};
}

bed::DaemonOptions writingTo(const bed::Descriptor& output) {
    bed::DaemonOptions options;
    options.standardOutput = output.get();
    return options;
}

/// The next piece that was written, waited for.
std::string receivePiece(const bed::Descriptor& from) {
    if (!bed::awaitReadable(from.get())) {
        throw bed::Error("nothing more is printed");
    }
    std::string piece(65536, '\0');
    const ssize_t count = ::read(from.get(), piece.data(), piece.size());
    piece.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return piece;
}

TEST(Printing, each_text_is_one_write_also_without_a_line_end) {
    bed::Namespaces namespaces(bed::Control::kWithoutAddress);
    const Ends ends = makePacketChannel();
    const bed::Daemon daemon(writingTo(ends.daemons));
    EXPECT_EQ(receivePiece(ends.mine), "local mac:001122aabbcc \n");
    EXPECT_EQ(receivePiece(ends.mine), "Server: listening for client requests....\n");

    bed::Console console;
    console.send("config get devices!vw add get!");
    EXPECT_EQ(receivePiece(ends.mine), "pBuffData config get devices!\n");
    EXPECT_EQ(receivePiece(ends.mine), "SIOCGIFADDR Failed!/n");
    EXPECT_EQ(receivePiece(ends.mine), "pEthName(eth0.2) get ip err!\n");
    EXPECT_EQ(receivePiece(ends.mine), "Protocol_client_getDevice err!\n");
    EXPECT_EQ(receivePiece(ends.mine), "pBuffData vw add get!\n");
}

TEST(Printing, a_line_of_full_length_is_printed_in_one_write) {
    const bed::Namespaces namespaces;
    const Ends ends = makePacketChannel();
    const bed::Daemon daemon(writingTo(ends.daemons));
    receivePiece(ends.mine);
    receivePiece(ends.mine);
    bed::Console console;
    const std::string line(4095, 'x');
    console.send(line);
    EXPECT_EQ(receivePiece(ends.mine), "pBuffData " + line + "\n");
}

TEST(Printing, texts_leave_at_once_into_a_pipe) {
    const bed::Namespaces namespaces;
    const Ends ends = makePipe();
    const bed::Daemon daemon(writingTo(ends.daemons));
    std::string printed;
    while (!printed.ends_with("requests....\n")) {
        printed += receivePiece(ends.mine);
    }
    EXPECT_EQ(printed, "local mac:001122aabbcc \nServer: listening for client requests....\n");
}

TEST(Printing, texts_leave_at_once_into_a_file) {
    const bed::Namespaces namespaces;
    const bed::Descriptor file(::memfd_create("output", MFD_CLOEXEC));
    const bed::Daemon daemon(writingTo(file));
    bed::Console console;
    bed::Segment segment;
    segment.ask(console, "hello!");
    std::ifstream written("/proc/self/fd/" + std::to_string(file.get()));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}),
              "local mac:001122aabbcc \n"
              "Server: listening for client requests....\n"
              "pBuffData hello!\n");
}

TEST(Printing, the_daemon_outlives_the_reader_of_its_output) {
    const bed::Namespaces namespaces;
    Ends ends = makePipe();
    bed::Daemon daemon(writingTo(ends.daemons));
    ends.daemons.reset();
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "one!"), failure("one!"));
    ends.mine.reset();
    EXPECT_EQ(segment.ask(console, "two!"), failure("two!"));
    EXPECT_EQ(segment.ask(console, "three!"), failure("three!"));
    EXPECT_TRUE(daemon.isRunning());
}

TEST(Printing, the_daemon_starts_without_anybody_who_reads_its_output) {
    const bed::Namespaces namespaces;
    Ends ends = makePipe();
    ends.mine.reset();
    bed::Daemon daemon(writingTo(ends.daemons));
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
    EXPECT_TRUE(daemon.isRunning());
}

}  // namespace
