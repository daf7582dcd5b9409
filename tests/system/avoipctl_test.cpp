// avoipctl as a process: what it prints, and how it ends.
#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "avoipctl_bed.hpp"
#include "bed/session.hpp"
#include "bed/stand_in.hpp"
#include "gtest/gtest.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kHelpHint = "Run avoipctl --help for help.\n";

/// Runs with the daemon itself, which brings namespaces of its own.
using AvoipctlAndDaemon = Avoipctl;

}  // namespace

TEST_F(AvoipctlAlone, shows_devices_as_a_table) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"decoders"}),
              (Outcome{0,
                       "IDENTITY  TYPE  ALIAS  ADDRESS    NETMASK      GATEWAY    MAC ADDRESS     "
                       "   STATUS  VERSION\n"
                       "rx01      T     A      10.77.0.2  255.255.0.0  10.77.0.1  "
                       "02:00:00:00:00:01  on      V1.0.0\n"
                       "rx02      T     A      10.77.0.2  255.255.0.0  10.77.0.1  "
                       "02:00:00:00:00:01  on      V1.0.0\n",
                       ""}));
    EXPECT_EQ(daemon.lines(), std::vector<std::string>{"config get decoders!"});
}

TEST_F(AvoipctlAlone, says_that_no_device_answers) {
    const std::string answer = success("config get encoders", ",\"devicelist\":[]");
    bed::StandIn daemon([&](const std::string&) { return answer; });
    EXPECT_EQ(run({"encoders"}),
              (Outcome{0,
                       "IDENTITY  TYPE  ALIAS  ADDRESS  NETMASK  GATEWAY  MAC ADDRESS  STATUS  "
                       "VERSION\n",
                       "avoipctl: No device answers.\n"}));
    EXPECT_EQ(run({"encoders", "--json"}), (Outcome{0, answer + "\n", ""}));
}

TEST_F(AvoipctlAlone, prints_the_answer_itself_with_json) {
    bed::StandIn daemon(smallNetwork);
    const std::string answer = *smallNetwork("config get decoders!") + "\n";
    EXPECT_EQ(run({"decoders", "--json"}), (Outcome{0, answer, ""}));
    EXPECT_EQ(run({"--json", "decoders"}), (Outcome{0, answer, ""}));
    EXPECT_EQ(run({"--json", "matrix", "get", "rx09"}).output, failure("matrix get") + "\n");
}

TEST_F(AvoipctlAlone, sends_any_console_text_and_prints_the_answer_itself) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"send", "matrix set tx01 rx01!"}),
              (Outcome{0, success("matrix sets") + "\n", ""}));
    EXPECT_EQ(run({"send", "matrix", "get", "rx01!"}),
              (Outcome{0, *smallNetwork("matrix get rx01!") + "\n", ""}));
    EXPECT_EQ(daemon.lines(),
              (std::vector<std::string>{"matrix set tx01 rx01!", "matrix get rx01!"}));
}

TEST_F(AvoipctlAlone, takes_an_answer_under_another_commands_name_as_its_own) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"matrix", "set", "tx01", "rx01"}), (Outcome{0, "Sent.\n", ""}));
}

TEST_F(AvoipctlAlone, ends_with_1_when_the_daemon_answers_failure) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"matrix", "get", "rx09"}),
              (Outcome{1, "",
                       "avoipctl: The daemon answered failure to \"matrix get rx09!\". The device "
                       "did not answer in time, or not as it should: see whether 'avoipctl "
                       "devices' lists it.\n"}));
}

TEST_F(AvoipctlAlone, suggests_a_command_after_a_text_that_is_none) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"send", "config get device!"}),
              (Outcome{1, failure("config get device!") + "\n",
                       "avoipctl: The daemon answered failure to \"config get device!\". It is no "
                       "command of the console. Did you mean \"config get devices\"?\n"}));
}

TEST_F(AvoipctlAlone, ends_with_1_when_the_answer_is_none) {
    bed::StandIn daemon([](const std::string&) { return "hello"; });
    EXPECT_EQ(run({"devices"}),
              (Outcome{1, "",
                       "avoipctl: The answer to \"config get devices!\" is not what the daemon "
                       "answers. Is another program using the answer segment?\n"}));
}

TEST_F(AvoipctlAlone, ends_with_2_when_the_words_make_no_command) {
    EXPECT_EQ(run({"devcies"}),
              (Outcome{2, "",
                       "avoipctl: \"devcies\" is no subcommand. Did you mean \"devices\"?\n" +
                           std::string(kHelpHint)}));
    EXPECT_EQ(run({"--port", "7", "alias", "st", "tx01"}),
              (Outcome{2, "",
                       "avoipctl: \"st\" is no subcommand. Did you mean \"set\"?\n" +
                           std::string(kHelpHint)}));
    EXPECT_EQ(
        run({"encoder", "set", "tx01", "H264", "full", "31", "CBR", "8000", "a", "b", "c", "d"}),
        (Outcome{2, "",
                 "avoipctl: fps: must be a number from 1 to 30\n" + std::string(kHelpHint)}));
    EXPECT_EQ(run({"matrix", "get"}),
              (Outcome{2, "", "avoipctl: decoder is required\n" + std::string(kHelpHint)}));
    EXPECT_EQ(run({"--port", "65536", "devices"}).status, 2);
    EXPECT_EQ(run({"--timeout", "0", "devices"}).status, 2);
    EXPECT_EQ(run({"--jason", "devices"}).status, 2);
}

TEST_F(AvoipctlAlone, ends_with_2_when_the_console_could_not_carry_the_command) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"alias", "set", "tx01", "No exit"}),
              (Outcome{2, "",
                       "avoipctl: alias: must not hold the letters \"exit\", which end the "
                       "console's connection\n" +
                           std::string(kHelpHint)}));
    EXPECT_EQ(run({"send", "config get devices"}),
              (Outcome{2, "", "avoipctl: A command must end in \"!\".\n"}));
    EXPECT_TRUE(daemon.lines().empty());
}

TEST_F(AvoipctlAlone, ends_with_3_without_a_daemon) {
    EXPECT_EQ(run({"devices"}),
              (Outcome{3, "",
                       "avoipctl: No daemon at 127.0.0.1 port 6888 (Connection refused). Start "
                       "avoipd, or correct the host and the port.\n"}));
    EXPECT_EQ(run({"--host", "127.0.0.2", "--port", "7000", "devices"}),
              (Outcome{3, "",
                       "avoipctl: No daemon at 127.0.0.2 port 7000 (Connection refused). Start "
                       "avoipd, or correct the host and the port.\n"}));
}

TEST_F(AvoipctlAlone, ends_with_3_without_a_segment) {
    bed::StandIn daemon(smallNetwork, 0);
    const Outcome outcome = run({"devices"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_TRUE(outcome.errors.starts_with(
        "avoipctl: The answer segment (key 0x12345678) is not there (No such file or directory)."));
}

TEST_F(AvoipctlAlone, ends_with_4_without_an_answer_in_time) {
    bed::StandIn daemon([](const std::string&) { return std::nullopt; });
    EXPECT_EQ(run({"--timeout", "0.2", "devices"}),
              (Outcome{4, "",
                       "avoipctl: No answer within 200 ms. The daemon may still be at work on it; "
                       "try again later, or give a longer time-out.\n"}));
}

TEST_F(AvoipctlAlone, takes_turns_with_another_one) {
    std::atomic<int> atWork = 0;
    std::atomic<bool> overlapped = false;
    bed::StandIn daemon([&](const std::string& line) {
        overlapped = overlapped || ++atWork > 1;
        std::this_thread::sleep_for(100ms);
        --atWork;
        return success(line);
    });
    std::array<std::unique_ptr<bed::Daemon>, 4> programs;
    for (std::size_t i = 0; i < programs.size(); ++i) {
        programs[i] =
            std::make_unique<bed::Daemon>(options({"send", "text " + std::to_string(i) + "!"}));
    }
    for (std::size_t i = 0; i < programs.size(); ++i) {
        EXPECT_EQ(end(*programs[i]),
                  (Outcome{0, success("text " + std::to_string(i) + "!") + "\n", ""}));
    }
    EXPECT_FALSE(overlapped);
}

TEST_F(AvoipctlAlone, shows_the_routes_as_a_matrix) {
    bed::StandIn daemon(smallNetwork);
    const std::string complaint =
        "avoipctl: The daemon answered failure to \"matrix get rx02!\". The device did not answer "
        "in time, or not as it should: see whether 'avoipctl devices' lists it.\n";
    EXPECT_EQ(run({"routes"}), (Outcome{1,
                                        "DECODER  tx01  tx02  NOTE\n"
                                        "rx01     .     x\n"
                                        "rx02     .     .     no answer\n",
                                        complaint}));
    EXPECT_EQ(run({"routes", "--json"}), (Outcome{1,
                                                  R"({"routes":[{"rxid":"rx01","txid":"tx02"}]})"
                                                  "\n",
                                                  complaint}));
}

TEST_F(AvoipctlAlone, asks_for_the_other_kinds_of_routes) {
    bed::StandIn daemon([](const std::string& line) {
        if (line.starts_with("config get")) {
            return *smallNetwork(line);
        }
        const bool serial = line.starts_with("serial");
        const std::string decoder = line.substr(line.size() - 5, 4);
        return success(
            serial ? "serial matrix get" : "ir matrix get",
            route(serial ? "serialsource" : "irsource", decoder, serial ? "tx01" : "tx02"));
    });
    EXPECT_EQ(run({"routes", "serial"}).output,
              "DECODER  tx01  tx02\nrx01     x     .\nrx02     x     .\n");
    EXPECT_EQ(run({"routes", "ir"}).output,
              "DECODER  tx01  tx02\nrx01     .     x\nrx02     .     x\n");
    EXPECT_EQ(run({"routes", "smoke"}).status, 2);
}

TEST_F(AvoipctlAlone, completes_with_the_devices_last_seen) {
    bed::StandIn daemon(smallNetwork);
    EXPECT_EQ(run({"--complete", "matrix", "get", ""}).output, "");
    EXPECT_EQ(run({"encoders"}).status, 0);
    EXPECT_EQ(run({"--complete", "matrix", "get", ""}).output, "tx01\ntx02\n");
    EXPECT_EQ(run({"send", "config get decoders!"}).status, 0);
    EXPECT_EQ(run({"--complete", "matrix", "get", "r"}).output, "rx01\nrx02\n");
    EXPECT_EQ(run({"--complete", "--json", "matrix", "set", "tx01", "r"}).output, "rx01\nrx02\n");
}

TEST_F(AvoipctlAlone, helps_with_an_example_for_each_subcommand) {
    const Outcome outcome = run({"alias", "set", "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.output.find("Example:\n"
                                  "  avoipctl alias set TX-0001 'Meeting room 2'\n"
                                  "which sends the console text\n"
                                  "  config set device alias TX-0001 Meeting room 2!\n"),
              std::string::npos)
        << outcome.output;
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_EQ(run({"--version"}).status, 0);
    EXPECT_EQ(run({"--version"}).output, "avoipctl " AVOIP_VERSION "\n");
}

TEST_F(AvoipctlAndDaemon, shows_a_device_that_answered_over_the_network) {
    bed::Session session;
    session.segment.clear();
    bed::Daemon program(options({"encoders"}));
    EXPECT_EQ(session.device.receive().text,
              R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
              R"("device":[{"id":"All_TX"}]}})");
    session.device.reply(bed::replyText(
        "config get device", "success", "001122aabbcc", "tx01",
        R"("device":{"deviceid":"tx01","alias":"Stage","devtype":"TX","devaddr":"10.77.0.2",)"
        R"("devnetmask":"255.255.0.0","devgateway":"10.77.0.1","devmac":"02:00:00:00:00:01",)"
        R"("status":"online","version":"V1.0.0"})"));
    EXPECT_EQ(end(program),
              (Outcome{0,
                       "IDENTITY  TYPE  ALIAS  ADDRESS    NETMASK      GATEWAY    MAC ADDRESS     "
                       "   STATUS  VERSION\n"
                       "tx01      TX    Stage  10.77.0.2  255.255.0.0  10.77.0.1  "
                       "02:00:00:00:00:01  online  V1.0.0\n",
                       ""}));
}

TEST_F(AvoipctlAndDaemon, sends_a_route_and_hears_matrix_sets) {
    bed::Session session;
    know({"tx03", "rx01"});
    EXPECT_EQ(run({"--json", "matrix", "set", "tx03", "rx01"}),
              (Outcome{0, success("matrix sets") + "\n", ""}));
    EXPECT_EQ(session.device.receive().text,
              R"({"request":{"cmd":"matrix set","hostid":"001122aabbcc","device":[{"id":"rx01"}]},)"
              R"("rxsource":{"txid":"tx03"}})");
}
