// From the bytes of a connection to command lines, seen from outside: an unknown line comes back in
// its answer and is printed as the dispatcher got it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;
using namespace std::string_literals;

constexpr const char* kStart =
    "local mac:001122aabbcc \n"
    "Server: listening for client requests....\n";

class ConsoleLines : public testing::Test {
  protected:
    /// The answer to the line.
    std::string ask(const std::string& bytes) {
        return session.segment.ask(session.console, bytes);
    }

    /// Expects that so far these lines have reached the dispatcher, and no others.
    void expectLines(const std::vector<std::string>& lines) {
        std::string printed = kStart;
        for (const std::string& line : lines) {
            printed += "pBuffData " + line + "\n";
        }
        session.daemon.output().awaitWhole(printed);
    }

    bed::Session session;
};

TEST_F(ConsoleLines, a_command_arrives_exactly_as_it_was_sent) {
    session.segment.clear();
    session.console.send("config get devices!");
    EXPECT_EQ(session.device.receive().text,
              R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
              R"("device":[{"id":"All"}]}})");
    EXPECT_EQ(session.segment.awaitAnswer(),
              R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[]})");
    expectLines({"config get devices!"});
}

TEST_F(ConsoleLines, blanks_in_front_and_all_line_ends_are_taken_out) {
    EXPECT_EQ(ask("   hello!"), failure("hello!"));
    EXPECT_EQ(ask("\r\nhello!"), failure("hello!"));
    EXPECT_EQ(ask("he\r\nl\nlo\r!"), failure("hello!"));
    EXPECT_EQ(ask("  \r\nhello!"), failure("hello!"));
    expectLines({"hello!", "hello!", "hello!", "hello!"});
}

TEST_F(ConsoleLines, blanks_behind_a_leading_line_end_stay) {
    EXPECT_EQ(ask("\r\n  config get devices!"), failure("  config get devices!"));
}

TEST_F(ConsoleLines, a_blank_before_the_end_stays) {
    EXPECT_EQ(ask("config get devices !"), failure("config get devices !"));
    EXPECT_EQ(ask("hello  !"), failure("hello  !"));
}

TEST_F(ConsoleLines, an_exclamation_mark_alone_is_a_line) {
    EXPECT_EQ(ask("!"), failure("!"));
    session.console.send("!!");
    expectLines({"!", "!", "!"});
}

TEST_F(ConsoleLines, a_zero_byte_hides_the_rest_of_its_line_and_no_more) {
    EXPECT_EQ(ask("hel\0lo!"s), failure("hel"));
    EXPECT_EQ(ask("  \r\0 exit!"s), failure(""));
    EXPECT_EQ(ask("config get devices\0!"s), failure("config get devices"));
    EXPECT_EQ(ask("hello!"), failure("hello!"));
    expectLines({"hel", "", "config get devices", "hello!"});
}

TEST_F(ConsoleLines, bytes_that_are_no_text_come_back_as_json_has_them) {
    EXPECT_EQ(ask("\x80\xC3(\xFF\xFE!"), failure("\x80\xC3(\xFF\xFE!"));
    EXPECT_EQ(ask("\x01\t\x1B\x7F\"\\/!"), failure("\\u0001\\t\\u001b\x7F\\\"\\\\/!"));
    expectLines({"\x80\xC3(\xFF\xFE!", "\x01\t\x1B\x7F\"\\/!"});
}

TEST_F(ConsoleLines, several_lines_at_once_are_run_in_their_order) {
    session.console.send("one!two!\r\nthree!");
    expectLines({"one!", "two!", "three!"});
}

TEST_F(ConsoleLines, a_line_may_come_in_pieces) {
    session.console.send("he");
    session.console.send("ll");
    EXPECT_EQ(ask("o!"), failure("hello!"));
    expectLines({"hello!"});
}

TEST_F(ConsoleLines, a_line_ends_after_4095_bytes_without_an_exclamation_mark) {
    const std::string full(4095, 'x');
    EXPECT_EQ(ask(full), failure(full.substr(0, 127)));
    EXPECT_EQ(ask("the rest!"), failure("the rest!"));
    session.console.send(full + "at once!");
    expectLines({full, "the rest!", full, "at once!"});
}

TEST_F(ConsoleLines, a_line_with_exit_in_it_ends_the_connection_without_an_answer) {
    session.segment.clear();
    for (const char* line : {"exit!", "  exit!", "\r\nexit!", "no exit here!", "exits!",
                             "config get devices exit!", "ex\r\nit!"}) {
        bed::Console console;
        console.send(line + std::string("never run!"));
        EXPECT_EQ(console.awaitClosed(), "") << line;
    }
    EXPECT_FALSE(session.segment.hasAnswer());
    EXPECT_EQ(ask("Exit!"), failure("Exit!"));
    expectLines({"Exit!"});
    EXPECT_TRUE(session.device.hasHeardNothing());
}

TEST_F(ConsoleLines, the_line_in_which_the_stream_ends_is_not_run) {
    session.console.send("one!config get dev");
    session.console.finishSending();
    EXPECT_EQ(session.console.awaitClosed(), "");
    expectLines({"one!"});
}

TEST_F(ConsoleLines, a_connection_that_is_reset_disturbs_no_other) {
    bed::Console other;
    other.send("half a li");
    other.reset();
    EXPECT_EQ(ask("hello!"), failure("hello!"));
    expectLines({"hello!"});
}

TEST_F(ConsoleLines, a_command_that_has_begun_is_answered_though_its_connection_is_gone) {
    for (const auto end : {&bed::Console::finishSending, &bed::Console::reset}) {
        bed::Console other;
        session.segment.clear();
        other.send("matrix get rx01!");
        session.device.receive();
        (other.*end)();
        session.device.reply(bed::replyText("matrix get", "failure", "001122aabbcc", "rx01"));
        EXPECT_EQ(session.segment.awaitAnswer(), failure("matrix get"));
    }
    EXPECT_EQ(ask("hello!"), failure("hello!"));
}

TEST_F(ConsoleLines, an_unfinished_line_holds_up_no_other_connection) {
    bed::Console other;
    other.send("half ");
    EXPECT_EQ(ask("hello!"), failure("hello!"));
    EXPECT_EQ(session.segment.ask(other, "a line!"), failure("half a line!"));
    expectLines({"hello!", "half a line!"});
}

TEST_F(ConsoleLines, nothing_is_ever_written_to_a_connection) {
    ask("hello!");
    ask("vw add get!");
    ask("config get devices!");
    EXPECT_TRUE(session.console.hasHeardNothing());
    session.console.finishSending();
    EXPECT_EQ(session.console.awaitClosed(), "");
}

TEST_F(ConsoleLines, each_connection_has_a_thread_of_its_own) {
    ask("hello!");
    const std::size_t before = session.daemon.threadCount();
    bed::Console other;
    session.segment.ask(other, "hello!");
    EXPECT_EQ(session.daemon.threadCount(), before + 1);
    other.finishSending();
    other.awaitClosed();
    bed::awaitCondition("the connection's thread to end",
                        [&] { return session.daemon.threadCount() == before; });
}

/// How many read calls the process has made.
std::size_t readCalls(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/io");
    std::string name;
    std::size_t count = 0;
    while (file >> name >> count) {
        if (name == "syscr:") {
            return count;
        }
    }
    throw bed::Error("the system does not count read calls");
}

TEST_F(ConsoleLines, each_byte_is_read_by_a_call_of_its_own) {
    if (!std::filesystem::exists("/proc/self/io")) {
        GTEST_SKIP() << "this system does not count read calls";
    }
    ask("hello!");
    const std::size_t before = readCalls(session.daemon.pid());
    ask(std::string(999, 'x') + "!");
    EXPECT_EQ(readCalls(session.daemon.pid()) - before, 1000U);
}

}  // namespace
