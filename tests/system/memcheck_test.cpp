// The daemon as it is built for a device, watched by valgrind: it reads and writes no memory that
// is not its own, sends no byte that was never written, and keeps what it keeps on purpose and
// nothing else.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <csignal>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "bed/occupant.hpp"
#include "bed/session.hpp"
#include "small_fleet.hpp"

namespace {

/// How many blocks are left under each name of memcheck.supp.
using Kept = std::map<std::string, int>;

/// What is left of a daemon that has served one connection.
const Kept kOneConnection = {
    {"connection-leaks: the answer buffer", 1},
    {"connection-leaks: the threads", 2},
    {"the client, and client-not-created", 1},
    {"the attachment of the answer segment", 1},
    {"the C++ runtime", 1},
};

class Memcheck : public testing::Test {
  protected:
    static bed::DaemonOptions watchedDaemon() {
        bed::DaemonOptions options;
        options.program = VALGRIND_PATH;
        options.arguments = {"-v",
                             "--leak-check=full",
                             "--show-leak-kinds=all",
                             "--errors-for-leak-kinds=all",
                             std::string("--suppressions=") + AVOIP_SUPPRESSIONS,
                             AVOIPD_PLAIN_PATH};
        return options;
    }

    /// Closes the connection, waits until the daemon's thread for it has ended, ends the daemon,
    /// and expects that valgrind found no error. @return what it passed over
    static Kept keptAfterOneConnection(bed::Daemon& daemon, bed::Console& console) {
        const std::size_t threads = daemon.threadCount();
        console.send("exit!");
        console.awaitClosed();
        bed::awaitCondition("the end of the connection's thread",
                            [&] { return daemon.threadCount() < threads; });
        EXPECT_EQ(daemon.stop(SIGTERM), (bed::Exit{.bySignal = true, .code = SIGTERM}));
        const std::string report = daemon.errors().all();
        EXPECT_NE(report.find("ERROR SUMMARY: 0 errors from 0 contexts"), std::string::npos);
        return keptIn(report);
    }

  private:
    static Kept keptIn(const std::string& report) {
        const std::regex used(
            "used_suppression: +[0-9]+ (.*) .*memcheck.supp:[0-9]+ .* in ([0-9]+) blocks");
        Kept kept;
        std::istringstream lines(report);
        std::smatch parts;
        for (std::string line; std::getline(lines, line);) {
            if (std::regex_search(line, parts, used)) {
                kept[parts[1]] = std::stoi(parts[2]);
            }
        }
        return kept;
    }
};

TEST_F(Memcheck, a_run_of_every_command_leaves_the_connection_and_nothing_else) {
    const bed::Namespaces namespaces;
    const SmallFleet fleet(namespaces);
    bed::Daemon daemon(watchedDaemon());
    bed::Console console;
    bed::Segment segment;
    for (const std::string& line : fleet.everyCommand()) {
        EXPECT_NE(segment.ask(console, line).find(R"("status":"success")"), std::string::npos)
            << line;
    }
    EXPECT_NE(segment.ask(console, "vw add get!").find("failure"), std::string::npos);

    EXPECT_EQ(keptAfterOneConnection(daemon, console), kOneConnection);
}

TEST_F(Memcheck, replies_that_lack_something_leave_their_documents) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    bed::Daemon daemon(watchedDaemon());
    bed::Console console;
    bed::Segment segment;
    const auto ask = [&](const std::string& line, const std::string& cmd) {
        segment.clear();
        console.send(line);
        device.receive();
        device.reply(bed::replyText(cmd, "success", "001122aabbcc", "x1"));
        return segment.awaitAnswer();
    };
    EXPECT_NE(ask("serial get params x1!", "serial get params").find("failure"), std::string::npos);
    EXPECT_NE(ask("matrix get x1!", "matrix get").find("success"), std::string::npos);

    // Two documents of one ack each: 6 values with 5 keys and 4 texts.
    Kept expected = kOneConnection;
    expected["parser-leak and routeless-reply"] = 30;
    EXPECT_EQ(keptAfterOneConnection(daemon, console), expected);
}

TEST_F(Memcheck, a_client_that_is_not_created_stays) {
    const bed::Namespaces namespaces;
    const bed::Occupant occupant(SOCK_DGRAM, bed::kReplyPort);
    bed::Daemon daemon(watchedDaemon());
    bed::Console console;
    bed::Segment segment;
    EXPECT_NE(segment.ask(console, "device showme x1!").find("failure"), std::string::npos);
    EXPECT_NE(daemon.errors().all().find("bind(): Address already in use"), std::string::npos);
    EXPECT_EQ(keptAfterOneConnection(daemon, console), kOneConnection);
}

}  // namespace
