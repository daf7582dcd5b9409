// How the daemon starts, and how it lives on when a step of its start-up fails.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bed/occupant.hpp"
#include "bed/session.hpp"
#include "bed/transcript.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;

constexpr const char* kListening = "Server: listening for client requests....\n";
constexpr const char* kNoDevices =
    R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[]})";

std::string discovery(const std::string& hostid) {
    return R"({"request":{"cmd":"config get device","hostid":")" + hostid +
           R"(","device":[{"id":"All"}]}})";
}

TEST(Startup, takes_its_identity_from_the_control_interface_and_listens) {
    const bed::Namespaces namespaces;
    bed::Daemon daemon;
    daemon.output().awaitWhole(std::string("local mac:001122aabbcc \n") + kListening);
    EXPECT_EQ(daemon.errors().all(), "");
    const bed::Segment segment;
    EXPECT_EQ(segment.status().shm_perm.mode & 07777U, 0664U);
    EXPECT_EQ(daemon.stop(SIGTERM), (bed::Exit{true, SIGTERM}));
}

TEST(Startup, looks_at_no_arguments) {
    const bed::Namespaces namespaces;
    bed::DaemonOptions options;
    options.arguments = {"--help", "eth1", "7000"};
    bed::Daemon daemon(options);
    daemon.output().awaitWhole(std::string("local mac:001122aabbcc \n") + kListening);
}

TEST(Startup, the_program_has_its_version_as_a_text) {
    const bed::Namespaces namespaces;
    bed::Daemon daemon;
    daemon.awaitOutput(kListening);
    std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/exe", std::ios::binary);
    const std::string program(std::istreambuf_iterator<char>(file), {});
    EXPECT_NE(program.find(std::string("avoipd " AVOIP_VERSION "\0", 7 + sizeof AVOIP_VERSION)),
              std::string::npos);
}

TEST(Startup, sends_the_hardware_address_in_lower_case_as_hostid_of_every_request) {
    const bed::Namespaces namespaces(bed::Control::kAddressed, "02:AB:CD:EF:01:09");
    bed::Device device(namespaces);
    bed::Daemon daemon;
    bed::Console console;
    console.send("config get devices!");
    EXPECT_EQ(device.receive().text, discovery("02abcdef0109"));
    console.send("device showme rx01!");
    EXPECT_EQ(device.receive().text, R"({"request":{"cmd":"device showme","hostid":"02abcdef0109",)"
                                     R"("device":[{"id":"rx01"}]}})");
}

TEST(Startup, goes_on_without_the_control_interface) {
    bed::Namespaces namespaces(bed::Control::kAbsent);
    bed::Daemon daemon;
    bed::Console console;
    bed::Segment segment;
    daemon.output().awaitWhole(std::string("mac ioctl error\n") + kListening);
    EXPECT_EQ(segment.ask(console, "config get devices!"), failure("config get devices"));
    daemon.output().awaitWhole(std::string("mac ioctl error\n") + kListening +
                               "pBuffData config get devices!\n"
                               "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n"
                               "Protocol_client_getDevice err!\n");

    // It knows no identity, also when the interface comes later.
    namespaces.addControlInterface();
    bed::Device device(namespaces);
    console.send("config get devices!");
    EXPECT_EQ(device.receive().text, discovery(""));
}

TEST(Startup, goes_on_without_an_address_on_the_control_interface) {
    bed::Namespaces namespaces(bed::Control::kWithoutAddress);
    bed::Device device(namespaces);
    bed::Daemon daemon;
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "config get devices!"), failure("config get devices"));
    daemon.output().awaitWhole(std::string("local mac:001122aabbcc \n") + kListening +
                               "pBuffData config get devices!\n"
                               "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n"
                               "Protocol_client_getDevice err!\n");
    EXPECT_TRUE(device.hasHeardNothing());

    namespaces.addAddress();
    EXPECT_EQ(segment.ask(console, "config get devices!"), kNoDevices);
    EXPECT_EQ(device.receive().text, discovery("001122aabbcc"));
}

TEST(Startup, goes_on_without_the_port_for_replies_and_every_command_fails) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    const bed::Occupant occupant(SOCK_DGRAM, 8003);
    bed::Daemon daemon;
    bed::Console console;
    bed::Segment segment;
    daemon.output().awaitWhole(
        std::string("local mac:001122aabbcc \npEthName(eth0.2) get socket err!\n") + kListening);
    daemon.errors().awaitWhole("bind(): Address already in use\n");

    for (const bed::Recorded& unsent : bed::allRecords("unsent/")) {
        EXPECT_EQ(segment.ask(console, unsent.line), unsent.answer);
    }
    EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
    EXPECT_TRUE(device.hasHeardNothing());
    EXPECT_TRUE(daemon.isRunning());
}

TEST(Startup, goes_on_without_the_port_for_the_console) {
    const bed::Namespaces namespaces;
    const bed::Occupant occupant(SOCK_STREAM, 6888);
    bed::Daemon daemon;
    daemon.errors().awaitWhole("bind: Address already in use\n");
    EXPECT_EQ(daemon.output().all(), "local mac:001122aabbcc \n");
    EXPECT_FALSE(bed::Segment::exists());
    EXPECT_TRUE(daemon.isRunning());
    // The client's socket, and the console's, which is left open.
    EXPECT_EQ(daemon.descriptors().size(), 3U + 2U);
}

TEST(Startup, goes_on_without_any_port) {
    const bed::Namespaces namespaces;
    const bed::Occupant replies(SOCK_DGRAM, 8003);
    const bed::Occupant console(SOCK_STREAM, 6888);
    bed::Daemon daemon;
    daemon.errors().awaitWhole("bind(): Address already in use\nbind: Address already in use\n");
    EXPECT_TRUE(daemon.isRunning());
}

TEST(Startup, prints_into_no_socket_when_it_has_no_outputs) {
    for (const std::vector<int>& closed :
         {std::vector{STDOUT_FILENO, STDERR_FILENO},
          std::vector{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}}) {
        const bed::Namespaces namespaces;
        bed::DaemonOptions options;
        options.closed = closed;
        const bed::Daemon daemon(options);
        bed::Console console;
        bed::Segment segment;
        EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
        EXPECT_EQ(daemon.descriptors()[STDOUT_FILENO], "/dev/null");
        EXPECT_EQ(daemon.descriptors()[STDERR_FILENO], "/dev/null");
    }
}

TEST(Startup, uses_no_huge_pages) {
    const bed::Namespaces namespaces;
    bed::Daemon daemon;
    daemon.awaitOutput(kListening);
    EXPECT_EQ(daemon.statusNumber("THP_enabled"), 0U);
}

TEST(Startup, ends_with_a_main_thread_that_sleeps_20_seconds_at_a_time) {
    const bed::Namespaces namespaces;
    const bed::Daemon daemon;
    const std::string process = "/proc/" + std::to_string(daemon.pid());
    const std::string sleeping = std::to_string(SYS_clock_nanosleep) + " ";
    std::string call;
    bed::awaitCondition("the main thread to sleep", [&] {
        std::ifstream file(process + "/syscall");
        return std::getline(file, call) && call.starts_with(sleeping);
    });
    // The call's number, then its arguments: clock, flags, and where the time stands.
    unsigned long time = 0;
    ASSERT_EQ(std::sscanf(call.c_str(), "%*d %*x %*x %lx", &time), 1) << call;
    std::ifstream memory(process + "/mem");
    memory.seekg(static_cast<std::streamoff>(time));
    timespec asked{};
    memory.read(reinterpret_cast<char*>(&asked), sizeof asked);
    EXPECT_TRUE(memory.good());
    EXPECT_EQ(asked.tv_sec, 20);
    EXPECT_EQ(asked.tv_nsec, 0);
}

TEST(Startup, works_with_descriptors_from_1024_on) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    bed::DaemonOptions options;
    options.firstDescriptor = 1100;
    bed::Daemon daemon(options);
    bed::Console console;
    bed::Segment segment;

    device.reply(bed::replyText(
        "config get device", "success", "001122aabbcc", "tx01",
        R"("device":{"deviceid":"tx01","alias":"a","devtype":"t","devaddr":"d","devnetmask":"n",)"
        R"("devgateway":"g","devmac":"m","status":"s","version":"v"})"));
    EXPECT_EQ(segment.ask(console, "config get devices!"),
              R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[)"
              R"({"hostid":"tx01","devtype":"t","alias":"a","devaddr":"d","devnetmask":"n",)"
              R"("devgateway":"g","devmac":"m","status":"s","version":"v"}]})");
    // The client's socket, the listener and the connection.
    EXPECT_EQ(daemon.descriptors().size(), 1100U + 3U);
    console.send("exit!");
    EXPECT_EQ(console.awaitClosed(), "");
}

}  // namespace
