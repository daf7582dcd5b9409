// Where what the daemon prints goes: at once, each text in one write, into whatever stands there.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;

struct Ends {
    avoip::Descriptor mine;
    avoip::Descriptor daemons;
};

/// A channel that keeps apart what was written apart.
Ends makePacketChannel() {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        bed::throwSystemError("socketpair");
    }
    return {avoip::Descriptor(ends[0]), avoip::Descriptor(ends[1])};
}

Ends makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        bed::throwSystemError("pipe");
    }
    return {avoip::Descriptor(ends[0]), avoip::Descriptor(ends[1])};
}

bed::DaemonOptions writingTo(const avoip::Descriptor& output) {
    bed::DaemonOptions options;
    options.standardOutput = output.get();
    return options;
}

/// The next piece that was written, waited for.
std::string receivePiece(const avoip::Descriptor& from) {
    if (!bed::awaitReadable(from.get())) {
        throw bed::Error("nothing more is printed");
    }
    std::string piece(65536, '\0');
    const ssize_t count = ::read(from.get(), piece.data(), piece.size());
    piece.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return piece;
}

/// Unknown commands whose printed lines need more room than the pipe has. Each is as long as what a
/// pipe takes in one piece, and leaves no room for a short one behind it.
std::string linesThatFill(const Ends& pipe) {
    const auto room = static_cast<std::size_t>(::fcntl(pipe.mine.get(), F_GETPIPE_SZ));
    constexpr std::size_t kLength = PIPE_BUF - std::string_view("pBuffData !\n").size();
    std::string lines;
    for (std::size_t i = 0; lines.size() <= room; ++i) {
        const std::string number = std::to_string(i);
        lines += number + std::string(kLength - number.size(), 'x') + "!";
    }
    return lines;
}

/// What the daemon prints of lines.
std::string printedOf(std::string lines) {
    std::string printed;
    for (std::size_t end = 0; (end = lines.find('!')) != std::string::npos;) {
        printed += "pBuffData " + lines.substr(0, end + 1) + "\n";
        lines.erase(0, end + 1);
    }
    return printed;
}

/// How many threads of the daemon stand in a write to standard output.
std::size_t heldUpThreads(const bed::Daemon& daemon) {
    const std::string writing = std::to_string(SYS_write) + " 0x1 ";
    const std::filesystem::path threads = "/proc/" + std::to_string(daemon.pid()) + "/task";
    std::size_t count = 0;
    for (const auto& thread : std::filesystem::directory_iterator(threads)) {
        std::ifstream file(thread.path() / "syscall");
        std::string call;
        std::getline(file, call);
        count += call.starts_with(writing) ? 1 : 0;
    }
    return count;
}

void awaitHeldUp(const bed::Daemon& daemon, std::size_t threads) {
    bed::awaitCondition(std::to_string(threads) + " threads that cannot print",
                        [&] { return heldUpThreads(daemon) == threads; });
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
    const avoip::Descriptor file(::memfd_create("output", MFD_CLOEXEC));
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

TEST(Printing, into_a_full_pipe_holds_all_commands_up_until_it_is_read_and_loses_nothing) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    const Ends ends = makePipe();
    bed::Daemon daemon(writingTo(ends.daemons));
    bed::Console console;
    bed::Segment segment;
    segment.ask(console, "hello!");
    const std::string lines = linesThatFill(ends) + "device showme rx01!";
    console.send(lines + "exit!");
    awaitHeldUp(daemon, 1);
    bed::Console other;
    segment.clear();
    other.send("device showme rx02!exit!");
    awaitHeldUp(daemon, 2);
    EXPECT_FALSE(segment.hasAnswer());
    EXPECT_TRUE(device.hasHeardNothing());

    const std::string usual =
        "local mac:001122aabbcc \n"
        "Server: listening for client requests....\n" +
        printedOf("hello!" + lines);
    const std::string others = printedOf("device showme rx02!");
    std::string printed;
    while (printed.size() < usual.size() + others.size()) {
        printed += receivePiece(ends.mine);
    }
    ASSERT_NE(printed.find("\n" + others), std::string::npos);
    EXPECT_EQ(printed.erase(printed.find(others), others.size()), usual);
    std::vector<std::string> requests{device.receive().text, device.receive().text};
    std::ranges::sort(requests);
    EXPECT_EQ(requests, (std::vector<std::string>{families::showmeRequest("rx01"),
                                                  families::showmeRequest("rx02")}));
    console.awaitClosed();
    other.awaitClosed();
    EXPECT_EQ(segment.awaitAnswer(), families::success("device showme"));
}

TEST(Printing, into_a_full_pipe_goes_nowhere_once_its_reader_is_gone) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    Ends ends = makePipe();
    bed::Daemon daemon(writingTo(ends.daemons));
    bed::Console console;
    bed::Segment segment;
    console.send(linesThatFill(ends) + "device showme rx01!exit!");
    awaitHeldUp(daemon, 1);
    EXPECT_TRUE(device.hasHeardNothing());
    ends.mine.reset();
    EXPECT_EQ(device.receive().text, families::showmeRequest("rx01"));
    console.awaitClosed();
    bed::Console other;
    EXPECT_EQ(segment.ask(other, "hello!"), failure("hello!"));
}

}  // namespace
