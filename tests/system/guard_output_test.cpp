// What avoipguard passes on of what the daemon prints.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "system/families/answers.hpp"
#include "system/guard_bed.hpp"

namespace {

/// A pipe for the guard's output, of which the test has the end to read from.
struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        readEnd = avoip::Descriptor(ends[0]);
        writeEnd = avoip::Descriptor(ends[1]);
    }
    avoip::Descriptor readEnd;
    avoip::Descriptor writeEnd;
};

/// Everything that comes until nobody can write any more.
std::string readAll(const avoip::Descriptor& from) {
    std::string text;
    std::array<char, 65536> piece;
    ssize_t count = 0;
    while ((count = ::read(from.get(), piece.data(), piece.size())) > 0) {
        text.append(piece.data(), static_cast<std::size_t>(count));
    }
    return text;
}

std::size_t countOf(const std::string& text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/// A command that none matches, of a thousand characters: it is printed as a line as long.
std::string longCommand() {
    return std::string(999, 'x') + "!";
}

void askOften(int times) {
    bed::Segment segment;
    bed::Console console;
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(segment.ask(console, longCommand()),
                  families::failure(longCommand().substr(0, 127)));
    }
}

class GuardOutput : public Guarded {
  protected:
    void startInto(Pipe& pipe) {
        bed::DaemonOptions made = options();
        made.standardOutput = pipe.writeEnd.get();
        start(made);
        pipe.writeEnd.reset();
    }
};

}  // namespace

TEST_F(GuardOutput, has_what_could_disturb_a_terminal_escaped) {
    start();
    bed::Console console;
    bed::Segment segment;
    segment.ask(console,
                "\x1b[31m red \x07\x7f \xff \xc3\xa4 \xc2\x9b \xe2\x80\xae \xed\xa0\x80 \xc0\x80!");
    guard->awaitOutput(
        "\npBuffData \\x1B[31m red \\x07\\x7F \\xFF \xc3\xa4 \\xC2\\x9B \\xE2\\x80\\xAE "
        "\\xED\\xA0\\x80 \\xC0\\x80!\n");
}

TEST_F(GuardOutput, keeps_the_daemons_two_outputs_apart) {
    guard = std::make_unique<bed::Daemon>(options(script("echo out; echo err >&2; exit 3")));
    guard->awaitOutput("out\n");
    guard->awaitError("err\n");
    EXPECT_EQ(guard->output().all().find("err"), std::string::npos);
}

TEST_F(GuardOutput, has_an_unfinished_line_of_a_daemon_that_ends) {
    guard = std::make_unique<bed::Daemon>(options(script("printf begun; exit 3")));
    guard->awaitOutput("begun\n");
}

TEST_F(GuardOutput, does_not_hold_the_daemon_up_when_nobody_reads_and_counts_what_is_dropped) {
    Pipe pipe;
    startInto(pipe);
    constexpr int kCommands = 1000;
    askOften(kCommands);

    std::string text;
    std::jthread reader([&] { text = readAll(pipe.readEnd); });
    // What is printed once there is room again comes behind the count.
    askOften(1);
    EXPECT_EQ(guard->stop(SIGTERM), (bed::Exit{false, 0}));
    reader.join();
    constexpr std::string_view kNote = "avoipguard: ";
    const std::size_t note = text.find(kNote);
    ASSERT_NE(note, std::string::npos);
    const std::size_t dropped = std::stoul(text.substr(note + kNote.size()));
    EXPECT_GE(dropped, 1U);
    EXPECT_EQ(
        text.substr(text.find(" lines", note), text.find('\n', note) - text.find(" lines", note)),
        " lines dropped: whoever reads this output is too slow.");
    EXPECT_EQ(countOf(text, "\npBuffData x") + dropped, kCommands + 1U);
}

TEST_F(GuardOutput, is_lost_without_harm_when_its_reader_is_gone) {
    Pipe pipe;
    startInto(pipe);
    pipe.readEnd.reset();
    askOften(300);
    EXPECT_EQ(health().restarts, 0);
}

TEST_F(GuardOutput, goes_into_a_file_that_both_outputs_share) {
    const std::string log = folder + "/log";
    const bed::DaemonOptions inner = options();
    bed::DaemonOptions made;
    made.program = "/bin/sh";
    made.arguments = {"-c", "exec \"$0\" \"$@\" > " + log + " 2>&1", inner.program};
    made.arguments.insert(made.arguments.end(), inner.arguments.begin(), inner.arguments.end());
    start(made);
    const std::string pid = std::to_string(health().daemonPid);
    EXPECT_EQ(guard->stop(SIGTERM), (bed::Exit{false, 0}));
    std::ifstream file(log);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(text.size(), std::string("avoipguard: starting\n"
                                       "local mac:001122aabbcc \n"
                                       "Server: listening for client requests....\n"
                                       "pBuffData avoipguard asks 1!\n"
                                       "avoipguard: stopping\n")
                                   .size() +
                               ("avoipguard: ok: avoipd is process " + pid + ".\n").size())
        << text;
}
