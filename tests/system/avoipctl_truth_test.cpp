// What avoipctl may believe, and what it says of it: beside answers that were given up, replies
// that come late, devices that are not there, and texts that would steer the terminal.
#include <atomic>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "avoipctl_bed.hpp"
#include "bed/stand_in.hpp"
#include "fleet_bed.hpp"
#include "gtest/gtest.h"

namespace {

using namespace std::chrono_literals;

/// A network whose list of all devices takes its time, until it is told not to.
class SlowNetwork {
  public:
    std::optional<std::string> operator()(const std::string& line) {
        while (line == "config get devices!" && slow) {
            std::this_thread::sleep_for(1ms);
        }
        return smallNetwork(line);
    }

    std::atomic<bool> slow = true;
};

/// Runs with the daemon itself and simulated devices, which bring namespaces of their own.
using AvoipctlAndFleet = Avoipctl;

/// A list of one device with this alias.
std::string listOf(const std::string& alias) {
    std::string row = device("tx01");
    row.replace(row.find(R"("alias":"A")"), 11, R"("alias":")" + alias + '"');
    return success("config get devices", ",\"devicelist\":[" + row + "]");
}

}  // namespace

TEST_F(AvoipctlAlone, does_not_take_the_answer_of_a_command_that_was_given_up) {
    SlowNetwork network;
    bed::StandIn daemon([&](const std::string& line) { return network(line); });
    know({"tx01", "rx01"});
    EXPECT_EQ(run({"--timeout", "0.2", "devices"}).status, 4);
    bed::Daemon next(options({"matrix", "set", "tx01", "rx01"}));
    EXPECT_EQ(end(next), (Outcome{0, "Sent.\n", ""}));
    // What reads waits until the daemon has done with it.
    bed::Daemon reading(options({"--json", "encoders"}));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(daemon.lines().size(), 2U);
    network.slow = false;
    EXPECT_EQ(end(reading), (Outcome{0, *smallNetwork("config get encoders!") + "\n", ""}));
}

TEST_F(AvoipctlAlone, does_not_take_the_answer_of_a_command_whose_sender_was_killed) {
    SlowNetwork network;
    bed::StandIn daemon([&](const std::string& line) { return network(line); });
    bed::Daemon first(options({"devices"}));
    bed::awaitCondition("the command to be sent", [&] { return daemon.lines().size() == 1; });
    EXPECT_EQ(first.stop(SIGKILL), (bed::Exit{.bySignal = true, .code = SIGKILL}));
    bed::Daemon next(options({"--json", "devices"}));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(daemon.lines().size(), 1U);
    network.slow = false;
    EXPECT_EQ(end(next), (Outcome{0, *smallNetwork("config get devices!") + "\n", ""}));
    EXPECT_EQ(daemon.lines().size(), 2U);
}

TEST_F(AvoipctlAlone, asks_a_change_back_with_verify) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"matrix", "set", "tx02", "rx01", "--verify"}),
              (Outcome{0, "Sent: confirmed.\n", ""}));
    EXPECT_EQ(
        run({"matrix", "set", "--verify", "tx01", "rx01"}),
        (Outcome{1, "Sent: not confirmed.\n", "avoipctl: Of \"rx01\": its txid is \"tx02\".\n"}));
    EXPECT_EQ(run({"--json", "matrix", "set", "tx02", "rx01", "--verify"}),
              (Outcome{0,
                       R"({"ack":{"cmd":"matrix sets","status":"success"},"verified":"confirmed"})"
                       "\n",
                       ""}));
    EXPECT_EQ(run({"matrix", "get", "rx01", "--verify"}).status, 2);
}

TEST_F(AvoipctlAlone, says_what_cannot_be_asked_back) {
    bed::StandIn daemon([](const std::string& line) {
        return success(line.starts_with("vw") ? "vw remove" : "device showme");
    });
    know({"rx01"});
    EXPECT_EQ(run({"wall", "remove", "rx01", "--verify"}),
              (Outcome{0, "Sent: cannot be asked.\n", ""}));
    EXPECT_EQ(run({"--json", "device", "showme", "rx01", "--verify"}).output,
              R"({"ack":{"cmd":"device showme","status":"success"},"verified":"cannot be asked"})"
              "\n");
}

TEST_F(AvoipctlAlone, warns_of_a_device_that_was_not_in_the_last_list) {
    bed::StandIn daemon(smallNetwork);
    const auto warning = [](const std::string& identity) {
        return "avoipctl: \"" + identity +
               "\" was not in the last list of devices. That it was sent does not mean that "
               "anybody "
               "has heard it.\n";
    };
    // A name that was never listed is looked up, whatever is known.
    EXPECT_EQ(run({"matrix", "set", "tx01", "rx09"}), (Outcome{0, "Sent.\n", warning("rx09")}));
    EXPECT_EQ(run({"matrix", "set", "tx01", "rx01"}), (Outcome{0, "Sent.\n", ""}));
    EXPECT_EQ(run({"matrix", "set", "tx09", "rx09"}),
              (Outcome{0, "Sent.\n", warning("tx09") + warning("rx09")}));
    EXPECT_EQ(run({"--json", "matrix", "set", "tx01", "rx09"}),
              (Outcome{0, success("matrix sets") + "\n", warning("rx09")}));
    EXPECT_EQ(run({"matrix", "set", "tx02", "rx01", "--verify"}),
              (Outcome{0, "Sent: confirmed.\n", ""}));
}

TEST_F(AvoipctlAlone, knows_the_devices_of_a_list_that_came_with_a_read) {
    bed::StandIn daemon(smallNetwork);
    ASSERT_EQ(run({"matrix", "get", "rx01"}).status, 0);
    EXPECT_EQ(run({"--complete", "matrix", "get", "r"}).output, "rx01\nrx02\n");
    EXPECT_NE(run({"matrix", "set", "tx01", "rx09"}).errors, "");
}

TEST_F(AvoipctlAlone, shows_no_text_of_a_device_that_steers_the_terminal) {
    bed::StandIn daemon([](const std::string&) { return listOf("a\u202Eb\x7f\\u001b[2J"); });
    EXPECT_NE(run({"devices"}).output.find("a?b??[2J"), std::string::npos);
    EXPECT_EQ(run({"--json", "devices"}).output, listOf("a\\u202eb\\u007f\\u001b[2J") + "\n");
    EXPECT_EQ(run({"send", "config get devices!"}).output,
              listOf("a\\u202eb\\u007f\\u001b[2J") + "\n");
}

TEST_F(AvoipctlAlone, ends_with_1_when_what_was_read_cannot_be_believed) {
    bed::StandIn daemon([](const std::string& line) {
        return line.starts_with("config get rx params") ? decoderParams("rx02")
                                                        : smallNetwork(line);
    });
    EXPECT_EQ(
        run({"matrix", "get", "rx01"}),
        (Outcome{1, "",
                 "avoipctl: The answers about \"rx01\" do not fit the questions, however often "
                 "it is asked: its replies come late or twice, or two devices have this "
                 "identity.\n"}));
}

TEST_F(AvoipctlAndFleet, shows_right_routes_behind_a_reply_that_came_late) {
    const DaemonAndFleet bed;
    const Stranger stranger(bed.namespaces);
    for (int i = 1; i <= 4; ++i) {
        ASSERT_EQ(run({"matrix", "set", encoderName(i), decoderName(i)}).status, 0);
    }
    ASSERT_EQ(run({"matrix", "get", "RX-0001"}).status, 0);
    for (int i = 0; i < 3; ++i) {
        stranger.replyWithRoute("matrix get", "rxsource", "RX-0004", "TX-0004");
        EXPECT_EQ(run({"routes"}), (Outcome{0,
                                            "DECODER  TX-0001  TX-0002  TX-0003  TX-0004\n"
                                            "RX-0001  x        .        .        .\n"
                                            "RX-0002  .        x        .        .\n"
                                            "RX-0003  .        .        x        .\n"
                                            "RX-0004  .        .        .        x\n",
                                            ""}));
        stranger.replyWithRoute("matrix get", "rxsource", "RX-0004", "TX-0004");
        EXPECT_EQ(run({"matrix", "get", "RX-0002"}),
                  (Outcome{0, "decoder  RX-0002\nencoder  TX-0002\n", ""}));
    }
}

TEST_F(AvoipctlAndFleet, confirms_what_a_device_has_done_and_nothing_else) {
    const DaemonAndFleet bed;
    EXPECT_EQ(run({"matrix", "set", "TX-0003", "RX-0002", "--verify"}),
              (Outcome{0, "Sent: confirmed.\n", ""}));
    EXPECT_EQ(run({"alias", "set", "RX-0002", "Bar", "--verify"}),
              (Outcome{0, "Sent: confirmed.\n", ""}));
    EXPECT_EQ(
        run({"matrix", "set", "TX-0003", "RX-0009", "--verify"}),
        (Outcome{1, "Sent: not confirmed.\n", "avoipctl: Of \"RX-0009\": it does not answer.\n"}));
}
