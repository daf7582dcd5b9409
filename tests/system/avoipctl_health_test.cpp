// avoipctl health: with a guard, which says how the daemon is, and without one.
#include "bed/ip_tool.hpp"
#include "lib/frontend/turn.hpp"
#include "system/avoipctl_bed.hpp"
#include "system/guard_bed.hpp"

namespace {

/// How a run of avoipctl ended and what it wrote.
class AvoipctlHealth : public Guarded {
  protected:
    Outcome run(std::vector<std::string> arguments) const {
        bed::DaemonOptions made;
        made.program = AVOIPCTL_PATH;
        made.arguments = {"health", "--state-folder", folder};
        made.arguments.insert(made.arguments.end(), arguments.begin(), arguments.end());
        bed::Daemon program(made);
        const bed::Exit exit = program.awaitExit();
        return {exit.bySignal ? -exit.code : exit.code, program.output().all(),
                program.errors().all()};
    }

    std::string since() const { return avoip::Health_timeText(health().since); }

    std::string stateFile() const {
        std::ifstream file(folder + "/state.json");
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string askedNote() const {
        return "No avoipguard keeps " + folder + "; the daemon was asked.\n";
    }
};

}  // namespace

TEST_F(AvoipctlHealth, ends_with_0_when_the_guard_says_that_the_daemon_works) {
    start();
    EXPECT_EQ(run({}), (Outcome{0,
                                "ok\nSince " + since() + "; avoipd is process " +
                                    std::to_string(health().daemonPid) + ", restarts: 0.\n",
                                ""}));
    EXPECT_EQ(run({"--json"}), (Outcome{0, stateFile(), ""}));
    EXPECT_EQ(stateFile(), R"({"state":"ok","reason":"","since":")" + since() +
                               R"(","restarts":0,"daemon_pid":)" +
                               std::to_string(health().daemonPid) + "}\n");
}

TEST_F(AvoipctlHealth, ends_with_1_when_the_guard_says_that_it_is_of_no_use) {
    start();
    bed::ip("addr del 10.77.0.1/16 dev eth0.2");
    awaitState("useless");
    EXPECT_EQ(run({}), (Outcome{1,
                                "useless: The control interface eth0.2 has no IPv4 address: ip "
                                "address add ADDRESS/LENGTH dev eth0.2\nSince " +
                                    since() + "; avoipd is process " +
                                    std::to_string(health().daemonPid) + ", restarts: 0.\n",
                                ""}));
    EXPECT_EQ(run({"--json"}), (Outcome{1, stateFile(), ""}));
}

TEST_F(AvoipctlHealth, ends_with_3_when_the_guard_waits_with_the_start) {
    namespaces.removeMulticastRoute();
    guard = std::make_unique<bed::Daemon>(options());
    awaitState("waiting");
    EXPECT_EQ(run({}),
              (Outcome{3,
                       "waiting: No route leads to the devices' group 239.255.255.250: ip route "
                       "add 224.0.0.0/4 dev eth0.2\nSince " +
                           since() + "; no avoipd runs, restarts: 0.\n",
                       ""}));
}

TEST_F(AvoipctlHealth, ends_with_2_when_its_words_are_wrong) {
    EXPECT_EQ(run({"now"}).status, 2);
}

TEST_F(AvoipctlHealth, asks_a_daemon_that_has_no_guard) {
    bed::Daemon daemon;
    const bed::Console listens;
    EXPECT_EQ(run({}), (Outcome{0, "ok\n" + askedNote(), ""}));
    const Outcome json = run({"--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_TRUE(json.output.starts_with(R"({"state":"ok","reason":"","since":")")) << json;
    EXPECT_TRUE(json.output.ends_with(R"(","restarts":0,"daemon_pid":0})"
                                      "\n"))
        << json;

    namespaces.removeAddress();
    EXPECT_EQ(run({}), (Outcome{1,
                                "useless: avoipd answers, but could not send to the devices: see "
                                "its output, and whether its eth0.2 has an address.\n" +
                                    askedNote(),
                                ""}));
}

TEST_F(AvoipctlHealth, ends_with_1_when_a_daemon_that_has_no_guard_does_not_answer) {
    bed::Daemon daemon;
    const bed::Console listens;
    const bed::Segment stands;
    ::kill(daemon.pid(), SIGSTOP);
    EXPECT_EQ(run({"--timeout", "0.2"}),
              (Outcome{1,
                       "useless: No answer within 200 ms. The daemon may still be at work on it; "
                       "try again later, or give a longer time-out.\n" +
                           askedNote(),
                       ""}));
}

TEST_F(AvoipctlHealth, ends_with_5_when_others_keep_a_daemon_without_a_guard_from_being_asked) {
    bed::Daemon daemon;
    const bed::Console listens;
    const bed::Segment stands;
    avoip::Turn turn;
    avoip::Reason none;
    ASSERT_EQ(turn.take(avoip::Deadline_in(0), none), AVOIP_OK);
    const Outcome outcome = run({"--timeout", "0.2"});
    EXPECT_EQ(outcome.status, 5) << outcome;
    EXPECT_EQ(outcome.output, "");
}

TEST_F(AvoipctlHealth, ends_with_3_when_there_is_nobody) {
    const Outcome outcome = run({});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_TRUE(outcome.output.starts_with("absent: No daemon at 127.0.0.1 port 6888")) << outcome;
    EXPECT_TRUE(outcome.output.ends_with(askedNote())) << outcome;
}

TEST_F(AvoipctlHealth, asks_when_its_guard_was_killed) {
    start();
    guard->stop(SIGKILL);
    bed::awaitCondition("the daemon's end", [this] {
        return run({"--timeout", "3"}).output.starts_with("absent: ");
    });
}
