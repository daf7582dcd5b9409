// Signals that a peer, a limit or a terminal can raise do not end the daemon, nor stop it. (A
// reader of its output that has gone is in printing_test.cpp.)
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "bed/folder.hpp"
#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;
using namespace std::chrono_literals;

class Signals : public testing::TestWithParam<int> {
  public:
    static std::string nameOf(const testing::TestParamInfo<int>& each) {
        return ::sigabbrev_np(each.param);
    }
};

class EndingSignals : public Signals {};

TEST_P(Signals, does_not_end_or_stop_the_daemon) {
    bed::Session session;
    EXPECT_EQ(session.segment.ask(session.console, "hello!"), failure("hello!"));
    ::kill(session.daemon.pid(), GetParam());
    EXPECT_EQ(session.segment.ask(session.console, "hello again!"), failure("hello again!"));
    EXPECT_EQ(session.daemon.errors().all(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, Signals,
                         testing::Values(SIGHUP, SIGPIPE, SIGTTIN, SIGTTOU, SIGXCPU, SIGXFSZ),
                         Signals::nameOf);

TEST_P(EndingSignals, ends_the_daemon) {
    bed::Session session;
    EXPECT_EQ(session.segment.ask(session.console, "hello!"), failure("hello!"));
    EXPECT_EQ(session.daemon.stop(GetParam()), (bed::Exit{true, GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(By, EndingSignals, testing::Values(SIGINT, SIGTERM), Signals::nameOf);

TEST(RaisedSignals, by_a_file_that_may_not_grow_leave_the_daemon_at_work) {
    const bed::Namespaces namespaces;
    const bed::Folder folder;
    const std::string path = folder.path() + "/output";
    const avoip::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    bed::DaemonOptions options;
    options.standardOutput = file.get();
    options.limits = {{RLIMIT_FSIZE, 90}};
    const bed::Daemon daemon(options);
    bed::Console console;
    bed::Segment segment;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
    }
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    const std::string whole =
        "local mac:001122aabbcc \n"
        "Server: listening for client requests....\n"
        "pBuffData hello!\npBuffData hello!\n";
    EXPECT_EQ(text.str(), whole.substr(0, 90));
}

TEST(RaisedSignals, by_too_much_processor_time_leave_the_daemon_at_work) {
    bed::Session session;
    rlimit limit{1, RLIM_INFINITY};
    ASSERT_EQ(::prlimit(session.daemon.pid(), RLIMIT_CPU, &limit, nullptr), 0);
    const std::string work(65536, 'x');
    bed::awaitCondition(
        "a second of the daemon's processor time",
        [&] {
            session.console.send(work);
            EXPECT_EQ(::prlimit(session.daemon.pid(), RLIMIT_CPU, nullptr, &limit), 0);
            // With the signal the system puts the limit up by a second.
            return limit.rlim_cur > 1;
        },
        100s);
    // What it was given is answered first, and would overwrite the answer.
    session.console.finishSending();
    session.console.awaitClosed();
    bed::Console other;
    EXPECT_EQ(session.segment.ask(other, "hello!"), failure("hello!"));
}

TEST(RaisedSignals, by_the_hangup_of_its_terminal_leave_the_daemon_at_work) {
    const bed::Namespaces namespaces;
    int screen = -1;
    int terminal = -1;
    ASSERT_EQ(::openpty(&screen, &terminal, nullptr, nullptr, nullptr), 0);
    avoip::Descriptor screenEnd(screen);
    avoip::Descriptor terminalEnd(terminal);
    bed::DaemonOptions options;
    options.ownSession = true;
    options.terminal = terminal;
    options.standardOutput = terminal;
    const bed::Daemon daemon(options);
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
    EXPECT_TRUE(daemon.hasControllingTerminal());

    screenEnd.reset();
    bed::awaitCondition("the hangup", [&] { return !daemon.hasControllingTerminal(); });
    EXPECT_EQ(segment.ask(console, "hello again!"), failure("hello again!"));
}

}  // namespace
