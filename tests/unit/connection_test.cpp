// One connection: which lines reach the handler, what becomes of its answers, and when it ends.
#include <string>

#include "bed/segment.hpp"
#include "channel.hpp"
#include "console/answer_segment.hpp"
#include "console_fixture.hpp"
#include "system_calls.hpp"

namespace {

class ConnectionTest : public ConsoleFixture {
  protected:
    ConnectionTest() { makeReady(); }
    ~ConnectionTest() override { AnswerSegment_remove(AnswerSegment_get()); }

    /// Serves a connection that sends `bytes` and then no more, until it ends.
    static void serve(const std::string& bytes) {
        Channel channel = makeSocketPair();
        put(channel.theirs, bytes);
        channel.theirs.reset();
        Telnet_client(channel.ours.get());
        EXPECT_GE(::fcntl(channel.ours.get(), F_GETFD), 0) << "the caller closes the socket";
    }
};

using Lines = std::vector<std::string>;

TEST_F(ConnectionTest, hands_the_socket_the_line_and_a_zeroed_buffer_to_the_handler) {
    const Channel channel = makeSocketPair();
    put(channel.theirs, "config get devices!exit!");
    Telnet_client(channel.ours.get());
    const Handled handled = awaitHandled(1);
    EXPECT_EQ(handled.socket, channel.ours.get());
    EXPECT_EQ(handled.line, "config get devices!");
    EXPECT_TRUE(handled.answerWasZero);
    EXPECT_EQ(readAtOnce(channel.theirs), "") << "nothing is ever sent";
}

TEST_F(ConnectionTest, finds_its_buffer_zero_again_after_long_and_failed_answers) {
    serve("long!1 failed!short!long!end!");
    for (std::size_t i = 1; i <= 5; ++i) {
        EXPECT_TRUE(awaitHandled(i).answerWasZero) << i;
    }
}

TEST_F(ConnectionTest, finds_its_buffer_zero_again_when_something_was_written_behind_the_answer) {
    serve("behind!short!behind!1 failed!end!");
    for (std::size_t i = 1; i <= 5; ++i) {
        EXPECT_TRUE(awaitHandled(i).answerWasZero) << i;
    }
    EXPECT_EQ(bed::Segment().awaitAnswer(), "answer to end!");
}

TEST_F(ConnectionTest, looks_once_a_second_whether_the_console_is_still_there) {
    Channel channel = makeSocketPair();
    SystemCalls calls;
    calls.shorten = [&](int /*descriptor*/, int /*timeout_ms*/) {
        if (calls.waits.size() == 3) {
            channel.theirs.reset();
        }
        return 0;
    };
    calls.during([&] { Telnet_client(channel.ours.get()); });
    EXPECT_EQ(calls.waits, std::vector<int>(3, 1000));
}

TEST_F(ConnectionTest, hands_over_trimmed_lines) {
    serve("\r\none!  two!\r\n  three!four !!\tfive!");
    EXPECT_EQ(handledLines(), (Lines{"one!", "two!", "  three!", "four !", "!", "\tfive!"}));
}

TEST_F(ConnectionTest, hands_over_4095_bytes_without_an_end_and_begins_anew_behind_them) {
    serve(std::string(4095, 'x') + "rest!");
    EXPECT_EQ(handledLines(), (Lines{std::string(4095, 'x'), "rest!"}));
}

TEST_F(ConnectionTest, forgets_a_line_before_it_reads_the_next) {
    serve("a long line!b!");
    EXPECT_EQ(handledLines(), (Lines{"a long line!", "b!"}));
}

TEST_F(ConnectionTest, ends_at_a_line_with_exit_anywhere_in_it) {
    const bed::Segment segment;
    for (const char* line : {"exit!", " exit!", "exits!", "do not exit now!", "ex\r\nit!"}) {
        serve(line + std::string("next!"));
        EXPECT_EQ(handledLines(), Lines{}) << line;
        EXPECT_FALSE(segment.hasAnswer());
    }
    serve("Exit!ex it!e!");
    EXPECT_EQ(handledLines(), (Lines{"Exit!", "ex it!", "e!"}));
}

TEST_F(ConnectionTest, does_not_run_the_line_in_which_the_stream_ends) {
    serve("one!two");
    EXPECT_EQ(handledLines(), Lines{"one!"});
}

TEST_F(ConnectionTest, posts_what_the_handler_answers) {
    serve("hello!");
    EXPECT_EQ(bed::Segment().awaitAnswer(), "answer to hello!");
}

TEST_F(ConnectionTest, posts_nothing_when_the_handler_reports_failure_and_reads_on) {
    serve("1 failed!-1 failed!");
    EXPECT_FALSE(bed::Segment().hasAnswer());
    serve("1 failed!hello!");
    EXPECT_EQ(bed::Segment().awaitAnswer(), "answer to hello!");
}

TEST_F(ConnectionTest, drops_its_lines_while_no_handler_is_registered) {
    EXPECT_EQ(Telnet_setHandler(nullptr), 0);
    serve("one!two!");
    EXPECT_FALSE(bed::Segment().hasAnswer());
    EXPECT_EQ(Telnet_setHandler(recordingHandler), 0);
    serve("three!");
    EXPECT_EQ(handledLines(), Lines{"three!"});
}

class RunHandlerTest : public ConsoleFixture {
  protected:
    RunHandlerTest() { AnswerSegment_attach(AnswerSegment_get()); }
    ~RunHandlerTest() override { AnswerSegment_remove(AnswerSegment_get()); }

    std::string buffer = std::string(kAnswerBufferSize, 'x');
};

TEST_F(RunHandlerTest, zeroes_the_whole_buffer_before_the_handler_runs) {
    EXPECT_EQ(Telnet_runHandler(7, "line!", buffer.data(), buffer.size()), 0);
    EXPECT_EQ(awaitHandled(1).socket, 7);
    EXPECT_EQ(awaitHandled(1).line, "line!");
    EXPECT_TRUE(awaitHandled(1).answerWasZero);
    EXPECT_EQ(bed::Segment().awaitAnswer(), "answer to line!");
}

TEST_F(RunHandlerTest, zeroes_the_whole_buffer_without_a_handler_too) {
    Telnet_setHandler(nullptr);
    EXPECT_EQ(Telnet_runHandler(7, "line!", buffer.data(), buffer.size()), 0);
    EXPECT_EQ(buffer.find_first_not_of('\0'), std::string::npos);
    EXPECT_FALSE(bed::Segment().hasAnswer());
}

TEST_F(RunHandlerTest, touches_nothing_behind_the_size_it_is_given) {
    Telnet_setHandler(nullptr);
    Telnet_runHandler(7, "line!", buffer.data(), 10);
    EXPECT_EQ(buffer.substr(0, 12), std::string(10, '\0') + "xx");
}

TEST_F(RunHandlerTest, posts_nothing_when_the_handler_reports_failure) {
    EXPECT_EQ(Telnet_runHandler(7, "1 failed!", buffer.data(), buffer.size()), -1);
    EXPECT_EQ(Telnet_runHandler(7, "-1 failed!", buffer.data(), buffer.size()), -1);
    EXPECT_EQ(handledLines().size(), 2U);
    EXPECT_FALSE(bed::Segment().hasAnswer());
}

}  // namespace
