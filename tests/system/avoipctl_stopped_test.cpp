// What becomes of avoipctl when somebody stands still: the daemon, or another front end. Every call
// ends in its time, and all goes on when the one that stood still does.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "avoipctl_bed.hpp"
#include "bed/device_reply.hpp"
#include "bed/image_file.hpp"
#include "bed/session.hpp"
#include "bed/wait.hpp"
#include "gtest/gtest.h"
#include "system/families/answers.hpp"

namespace {

using families::showmeRequest;

/// Holds a program still until it is told to go on, or until the object goes.
class Standstill {
  public:
    explicit Standstill(const bed::Daemon& program) : pid_(program.pid()) {
        ::kill(pid_, SIGSTOP);
        siginfo_t status{};
        if (::waitid(P_PID, static_cast<id_t>(pid_), &status, WSTOPPED | WNOWAIT) != 0) {
            bed::throwSystemError("the program does not stand still");
        }
    }
    Standstill(const Standstill&) = delete;
    Standstill& operator=(const Standstill&) = delete;
    ~Standstill() { end(); }

    void end() const { ::kill(pid_, SIGCONT); }

  private:
    pid_t pid_;
};

constexpr const char* kNoAnswer =
    "avoipctl: No answer within 200 ms. The daemon may still be at work on it; try again later, or "
    "give a longer time-out.\n";

constexpr const char* kStillOwed =
    "avoipctl: The daemon is still at work on a command that somebody gave up on (\"config get "
    "devices\"), and has not answered it within the time-out. Nothing was sent; try again later, "
    "or "
    "give a longer time-out.\n";

const Outcome kSent{0, "Sent.\n", ""};

class AvoipctlBesideStandstill : public Avoipctl {
  protected:
    /// The daemon has taken the session's connection before anybody stands still.
    void SetUp() override {
        ASSERT_EQ(session.segment.ask(session.console, "hello!"), failure("hello!"));
        know({"rx01", "rx02", "rx03"});
    }

    bed::Session session;
};

/// The prompt, with lines that come one by one.
class AvoipctlPromptBesideStandstill : public AvoipctlBesideStandstill {
  protected:
    /// The keyboard is there before the prompt, and never waits for it.
    avoip::Descriptor makeKeyboard() const {
        const std::string path = folder + "/keyboard";
        if (::mkfifo(path.c_str(), 0600) != 0) {
            bed::throwSystemError("mkfifo");
        }
        return avoip::Descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    }

    bed::DaemonOptions promptOptions() const {
        bed::DaemonOptions shell =
            options({"-c", "exec \"$0\" < \"$1\"", AVOIPCTL_PATH, folder + "/keyboard"});
        shell.program = "/bin/sh";
        return shell;
    }

    void type(const std::string& line) const {
        const std::string text = line + "\n";
        ASSERT_EQ(::write(keyboard.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }

    avoip::Descriptor keyboard = makeKeyboard();
    bed::Daemon prompted{promptOptions()};
};

}  // namespace

TEST_F(AvoipctlBesideStandstill, waits_no_longer_than_its_time_for_a_front_end_that_has_the_turn) {
    bed::Daemon other(options({"--timeout", "60", "matrix", "get", "rx01"}));
    session.device.receive();
    session.device.reply(bed::deviceReply("rx01"));
    session.device.receive();
    const Standstill standstill(other);
    session.device.reply(bed::replyText("matrix get", "success", "001122aabbcc", "rx01",
                                        R"("rxsource":{"rxid":"rx01","txid":"tx02"})"));
    session.segment.awaitAnswer();
    EXPECT_EQ(run({"--timeout", "0.2", "device", "showme", "rx02"}),
              (Outcome{5, "",
                       "avoipctl: Another front end has had its turn for the whole time-out. Try "
                       "again, or give a longer time-out.\n"}));
    EXPECT_TRUE(session.device.hasHeardNothing());

    standstill.end();
    session.device.receive();
    session.device.reply(bed::replyText(
        "config get rx params", "success", "001122aabbcc", "rx01",
        R"("rxparams":{"deviceid":"rx01","alias":"","luma":"50","contrast":"50","hue":"50",)"
        R"("saturation":"50","videoformat":"0","videoresstatus":"","hdcpstatus":""})"));
    EXPECT_EQ(end(other), (Outcome{0, "decoder  rx01\nencoder  tx02\n", ""}));
    EXPECT_EQ(run({"device", "showme", "rx01"}), kSent);
}

TEST_F(AvoipctlBesideStandstill, ends_with_4_in_its_time_when_the_daemon_stands_still) {
    const bed::ImageFile image({.size = bed::kWholeImage});
    const Standstill standstill(session.daemon);
    const std::pair<std::vector<std::string>, const char*> calls[] = {
        {{"devices"}, kNoAnswer},
        // The list may still take the replies to whatever reads.
        {{"--json", "encoders"}, kStillOwed},
        {{"device", "showme", "rx01"}, kNoAnswer},
        {{"routes"}, kStillOwed},
        {{"send", "hello!"}, kNoAnswer},
        {{"update", "all-encoders", image.path(), "--yes"}, kStillOwed},
    };
    for (auto [call, complaint] : calls) {
        SCOPED_TRACE(call.front());
        call.insert(call.begin(), {"--timeout", "0.2"});
        EXPECT_EQ(run(call), (Outcome{4, "", complaint}));
    }
    EXPECT_TRUE(session.device.hasHeardNothing());
}

TEST_F(AvoipctlBesideStandstill, ends_with_3_in_its_time_when_no_connection_can_be_made_either) {
    const Standstill standstill(session.daemon);
    // The system makes so many connections for a daemon that does not take them, and no more.
    std::vector<bed::Console> waiting(129);
    EXPECT_EQ(run({"--timeout", "0.2", "devices"}),
              (Outcome{3, "",
                       "avoipctl: No daemon at 127.0.0.1 port 6888 (Connection timed out). Start "
                       "avoipd, or correct the host and the port.\n"}));

    standstill.end();
    for (bed::Console& console : waiting) {
        EXPECT_EQ(session.segment.ask(console, "hello!"), failure("hello!"));
    }
    EXPECT_EQ(run({"device", "showme", "rx01"}), kSent);
}

TEST_F(AvoipctlPromptBesideStandstill, goes_on_beside_one_that_stands_still_and_so_do_others) {
    type("device showme rx01");
    prompted.awaitOutput("Sent.\n");
    EXPECT_EQ(session.device.receive().text, showmeRequest("rx01"));
    // It keeps its connection, and has no turn.
    const Standstill standstill(prompted);
    EXPECT_EQ(run({"device", "showme", "rx02"}), kSent);
    EXPECT_EQ(session.device.receive().text, showmeRequest("rx02"));
    type("device showme rx03");

    standstill.end();
    prompted.awaitOutput("Sent.\n");
    EXPECT_EQ(session.device.receive().text, showmeRequest("rx03"));
    keyboard.reset();
    EXPECT_EQ(end(prompted), (Outcome{0, "Sent.\nSent.\n", ""}));
}

TEST_F(AvoipctlPromptBesideStandstill, can_be_used_again_when_the_daemon_goes_on) {
    const std::size_t threads = session.daemon.threadCount();
    {
        const Standstill standstill(session.daemon);
        type("--timeout 0.2 device showme rx01");
        prompted.awaitError(kNoAnswer);
        type("--timeout 0.2 routes");
        prompted.awaitError(kNoAnswer);
        EXPECT_FALSE(session.segment.hasAnswer());
    }
    // What was given up is done late, and answered into the segment.
    session.device.receive();
    session.device.receive();
    bed::awaitCondition("the given-up commands to end",
                        [&] { return session.daemon.threadCount() == threads; });
    EXPECT_TRUE(session.segment.hasAnswer());

    type("device showme rx02");
    prompted.awaitOutput("Sent.\n");
    EXPECT_EQ(session.device.receive().text, showmeRequest("rx02"));
    keyboard.reset();
    EXPECT_EQ(end(prompted), (Outcome{4, "Sent.\n", std::string(kNoAnswer) + kNoAnswer}));
}
