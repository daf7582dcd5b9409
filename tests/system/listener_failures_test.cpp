// How the daemon lives on when the system refuses its console something. It runs as it is built for
// a device: sanitizers do not live within such limits.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;

constexpr const char* kMac = "local mac:001122aabbcc \n";
constexpr const char* kListening = "Server: listening for client requests....\n";
constexpr const char* kNoThread = "Telnet: telnet_starting.......err!\n";

bed::DaemonOptions plainDaemon() {
    bed::DaemonOptions options;
    options.program = AVOIPD_PLAIN_PATH;
    return options;
}

/// Takes from the running daemon what it would be given otherwise.
void limit(const bed::Daemon& daemon, __rlimit_resource resource, rlim_t most) {
    rlimit changed{};
    ASSERT_EQ(::prlimit(daemon.pid(), resource, nullptr, &changed), 0);
    changed.rlim_cur = most;
    ASSERT_EQ(::prlimit(daemon.pid(), resource, &changed, nullptr), 0);
}

TEST(ListenerFailures, a_console_without_a_socket_leaves_the_daemon_running) {
    const bed::Namespaces namespaces;
    bed::DaemonOptions options = plainDaemon();
    options.limits = {{RLIMIT_NOFILE, 4}};  // the client's socket is the last one there is
    bed::Daemon daemon(options);
    daemon.errors().awaitWhole("socket: Too many open files\n");
    EXPECT_EQ(daemon.output().all(), kMac);
    EXPECT_TRUE(daemon.isRunning());
}

TEST(ListenerFailures, a_console_without_a_thread_leaves_the_daemon_running) {
    const bed::Namespaces namespaces;
    bed::DaemonOptions options = plainDaemon();
    // The stack of a new thread is as large as this limit, and no address space has that much room.
    options.limits = {{RLIMIT_STACK, rlim_t{1} << 47U}};
    bed::Daemon daemon(options);
    daemon.output().awaitWhole(std::string(kMac) + kNoThread);
    EXPECT_EQ(daemon.threadCount(), 1U);
    EXPECT_TRUE(daemon.isRunning());
}

TEST(ListenerFailures, a_segment_that_may_not_be_used_ends_the_listener) {
    const bed::Namespaces namespaces;
    ASSERT_GE(::shmget(bed::kSegmentKey, 32, IPC_CREAT | IPC_EXCL), 0);
    bed::DaemonOptions options;
    options.program = "/usr/bin/setpriv";
    options.arguments = {"--bounding-set", "-ipc_owner", "--inh-caps", "-ipc_owner",
                         AVOIPD_PLAIN_PATH};
    bed::Daemon daemon(options);
    daemon.errors().awaitWhole("shmget errnor: Permission denied\n");
    daemon.output().awaitWhole(std::string(kMac) + kListening);
    bed::awaitCondition("the listener to end", [&] { return daemon.threadCount() == 1; });
    EXPECT_TRUE(daemon.isRunning());

    // The socket is left open: a connection is made, and never served.
    bed::Console console;
    console.send("hello!");
    EXPECT_TRUE(console.hasHeardNothing());
    EXPECT_EQ(daemon.threadCount(), 1U);
}

TEST(ListenerFailures, a_segment_that_cannot_be_attached_gets_no_answers_and_commands_run) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    // Larger than any address space; it needs no memory.
    ASSERT_GE(::shmget(bed::kSegmentKey, std::size_t{1} << 50U, IPC_CREAT | SHM_NORESERVE | 0664),
              0);
    bed::Daemon daemon(plainDaemon());
    bed::Console console;
    console.send("hello!device showme rx01!");
    EXPECT_EQ(device.receive().text, families::showmeRequest("rx01"));
    console.send("!");
    daemon.output().awaitWhole(std::string(kMac) + kListening +
                               "pBuffData hello!\npBuffData device showme rx01!\npBuffData !\n");
    EXPECT_EQ(daemon.errors().all(), "");
}

TEST(ListenerFailures, a_small_segment_that_stands_already_is_filled_to_its_last_page) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    bed::Segment::create(32);
    bed::Daemon daemon;
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "an unknown command!"), failure("an unknown command!"));
    EXPECT_EQ(segment.status().shm_segsz, 32U);

    const std::string reply = bed::replyText(
        "config get device", "success", "001122aabbcc", "",
        R"("device":{"deviceid":"","alias":")" + std::string(31, 'x') +
            R"(","devtype":"","devaddr":"","devnetmask":"","devgateway":"","devmac":"",)"
            R"("status":"","version":""})");
    // They stand in the daemon's socket when it asks, and so come before the silence that ends it.
    for (int i = 0; i < 100; ++i) {
        device.reply(reply);
    }
    const std::string answer = segment.ask(console, "config get devices!");
    const std::size_t room = segment.bytes().size() - 6;
    EXPECT_EQ(answer.size(), room);
    EXPECT_TRUE(answer.starts_with(
        R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[{"hostid":"",)"));
    EXPECT_EQ(segment.bytes().back(), '\0');
    daemon.awaitOutput(" characters cut to " + std::to_string(room) +
                       ": the answer segment is too small\n");
}

TEST(ListenerFailures, a_failed_accept_ends_the_listener_and_the_connections_go_on) {
    const bed::Namespaces namespaces;
    bed::Daemon daemon(plainDaemon());
    bed::Console console;
    bed::Segment segment;
    segment.ask(console, "hello!");

    limit(daemon, RLIMIT_NOFILE, 0);
    const bed::Console refused;
    daemon.errors().awaitWhole("accept: Too many open files\n");
    bed::awaitCondition("the listener to end", [&] { return daemon.threadCount() == 2; });
    EXPECT_EQ(segment.ask(console, "hello again!"), failure("hello again!"));
    EXPECT_TRUE(refused.hasHeardNothing());
    EXPECT_TRUE(daemon.isRunning());
}

TEST(ListenerFailures, connections_that_use_all_descriptors_up_end_the_listener_and_go_on) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    bed::DaemonOptions options = plainDaemon();
    options.limits = {{RLIMIT_NOFILE, 32}};
    bed::Daemon daemon(options);
    // The daemon itself has five: the standard ones, the client's socket and the listener's. One
    // after the other, since the C library opens a file for a moment when it makes room for the
    // allocations of so many threads: the next connection must not find that one's number taken.
    std::vector<bed::Console> consoles;
    bed::Segment segment;
    while (consoles.size() < 32 - 5) {
        EXPECT_EQ(segment.ask(consoles.emplace_back(), "hello!"), failure("hello!"));
    }
    EXPECT_EQ(daemon.descriptors().size(), 32U);
    const bed::Console refused;
    daemon.errors().awaitWhole("accept: Too many open files\n");
    bed::awaitCondition("the listener to end",
                        [&] { return daemon.threadCount() == 1 + consoles.size(); });
    for (bed::Console& console : consoles) {
        EXPECT_EQ(segment.ask(console, "hello again!"), failure("hello again!"));
    }

    // Each request asks for the interface's address, which takes a descriptor.
    EXPECT_EQ(segment.ask(consoles.front(), "device showme rx01!"), failure("device showme"));
    daemon.awaitOutput(
        "pBuffData device showme rx01!\n"
        "socket create failed!/npEthName(eth0.2) get ip err!\n"
        "Protocol_client_device_showme err!\n");
    consoles.back().send("exit!");
    consoles.back().awaitClosed();
    EXPECT_EQ(segment.ask(consoles.front(), "device showme rx02!"),
              families::success("device showme"));
    EXPECT_EQ(device.receive().text, families::showmeRequest("rx02"));
    EXPECT_TRUE(refused.hasHeardNothing());
}

/// The address space that the process takes up.
rlim_t addressSpace(const bed::Daemon& daemon) {
    std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/statm");
    rlim_t pages = 0;
    file >> pages;
    return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
}

TEST(ListenerFailures, a_connection_without_a_thread_ends_the_listener_and_the_others_go_on) {
    const bed::Namespaces namespaces;
    bed::Daemon daemon(plainDaemon());
    bed::Console console;
    bed::Segment segment;
    segment.ask(console, "hello!");

    limit(daemon, RLIMIT_AS, addressSpace(daemon));
    const bed::Console unserved;
    daemon.awaitOutput(kNoThread);
    bed::awaitCondition("the listener to end", [&] { return daemon.threadCount() == 2; });
    EXPECT_EQ(segment.ask(console, "hello again!"), failure("hello again!"));
    EXPECT_TRUE(unserved.hasHeardNothing());
    EXPECT_TRUE(daemon.isRunning());
    EXPECT_EQ(daemon.errors().all(), "");
}

TEST(ListenerFailures, a_connection_without_memory_for_its_answers_ends_and_the_others_go_on) {
    const bed::Namespaces namespaces;
    constexpr rlim_t kMiB = rlim_t{1024} * 1024;
    bed::DaemonOptions options = plainDaemon();
    options.limits = {{RLIMIT_STACK, 8 * kMiB}};
    bed::Daemon daemon(options);
    bed::Console console;
    bed::Segment segment;
    segment.ask(console, "hello!");

    // Enough for the stack of a thread, and not for 4 MiB more.
    limit(daemon, RLIMIT_AS, addressSpace(daemon) + 10 * kMiB);
    bed::Console refused;
    EXPECT_EQ(refused.awaitClosed(), "");
    EXPECT_EQ(segment.ask(console, "hello again!"), failure("hello again!"));

    limit(daemon, RLIMIT_AS, addressSpace(daemon) + 200 * kMiB);
    bed::Console served;
    EXPECT_EQ(segment.ask(served, "and again!"), failure("and again!"));
}

}  // namespace
