// The daemon as it is built for a device, run as a device runs it: by an ordinary user without
// capabilities, and dead at the first system call that src/system_calls.txt does not have.
//
// AVOIP_SYSTEM_CALLS in the environment names another list.
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bed/device_reply.hpp"
#include "bed/folder.hpp"
#include "bed/occupant.hpp"
#include "system/small_fleet.hpp"
#include "system/update_bed.hpp"

namespace {

constexpr const char* kMac = "local mac:001122aabbcc \n";
constexpr const char* kListening = "Server: listening for client requests....\n";

bed::DaemonOptions daemonUnder(const std::string& list) {
    bed::DaemonOptions options;
    options.program = CONFINED_PATH;
    options.arguments = {list, AVOIPD_PLAIN_PATH};
    options.limits = {{RLIMIT_CORE, 0}};
    return options;
}

bed::DaemonOptions confinedDaemon() {
    const char* other = std::getenv("AVOIP_SYSTEM_CALLS");
    return daemonUnder(other != nullptr ? other : AVOIP_SYSTEM_CALLS);
}

/// What the system says of a process under a name, such as "CapEff".
std::string statusOf(const bed::Daemon& daemon, const std::string& name) {
    std::ifstream file("/proc/" + std::to_string(daemon.pid()) + "/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name + ":\t")) {
            return line.substr(name.size() + 2);
        }
    }
    throw bed::Error("no " + name + " in the process's status");
}

/// Waits for the answer, and no longer than the daemon lives.
std::string awaitAnswer(const bed::Daemon& daemon, const bed::Segment& segment) {
    bed::awaitCondition("an answer", [&] {
        if (!daemon.isRunning()) {
            throw bed::Error("the daemon died");
        }
        return segment.hasAnswer();
    });
    return segment.awaitAnswer();
}

/// A confined daemon with a console, and without devices.
struct Conversation {
    bed::Namespaces namespaces;
    bed::Daemon daemon{confinedDaemon()};
    bed::Console console;
    bed::Segment segment;

    std::string ask(const std::string& line) {
        segment.clear();
        console.send(line);
        return awaitAnswer(daemon, segment);
    }
};

TEST(Confined, starts_as_an_ordinary_user_with_nothing_else) {
    const bool isRoot = ::geteuid() == 0;
    const bed::Namespaces namespaces;
    bed::Daemon daemon(confinedDaemon());
    daemon.awaitOutput(kListening);
    EXPECT_EQ(daemon.output().all(), std::string(kMac) + kListening);
    EXPECT_EQ(daemon.errors().all(), "");
    if (isRoot) {
        EXPECT_EQ(statusOf(daemon, "Uid"), "65534\t65534\t65534\t65534");
        EXPECT_EQ(statusOf(daemon, "Gid"), "65534\t65534\t65534\t65534");
        EXPECT_EQ(statusOf(daemon, "Groups"), " ");
    }
    for (const char* set : {"CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"}) {
        EXPECT_EQ(statusOf(daemon, set), "0000000000000000") << set;
    }
    EXPECT_EQ(statusOf(daemon, "NoNewPrivs"), "1");
    EXPECT_EQ(statusOf(daemon, "Seccomp"), "2");
    EXPECT_EQ(daemon.stop(SIGTERM), (bed::Exit{true, SIGTERM}));
}

TEST(Confined, carries_every_command_out) {
    Conversation conversation;
    const SmallFleet fleet(conversation.namespaces);
    for (const std::string& line : fleet.everyCommand()) {
        EXPECT_NE(conversation.ask(line).find(R"("status":"success")"), std::string::npos) << line;
    }
    EXPECT_EQ(conversation.ask("vw add get!"), failure("vw add "));
    EXPECT_EQ(conversation.daemon.stop(SIGTERM), (bed::Exit{true, SIGTERM}));
}

TEST(Confined, lists_1024_devices) {
    bed::Session session(confinedDaemon());
    std::vector<std::string> replies;
    for (int i = 0; i < 1024; ++i) {
        replies.push_back(bed::deviceReply("tx" + std::to_string(i)));
    }
    session.segment.clear();
    session.console.send("config get devices!");
    session.device.receive();
    session.device.replyAll(replies);
    EXPECT_NE(awaitAnswer(session.daemon, session.segment).find(R"("hostid":"tx1023")"),
              std::string::npos);
}

TEST(Confined, fails_uploads_as_anybody) {
    UpdateBed bed(confinedDaemon());
    const FoundDevice refusing{"tx1", "10.77.1.1"};
    const FoundDevice unreachable{"tx2", "10.99.0.1"};
    const FoundDevice leaving{"tx3", "10.77.1.3"};
    const bed::UploadPort port = bed.openPort(leaving.address);
    const bed::ImageFile image({.size = bed::kWholeImage});
    std::filesystem::permissions(image.path(), std::filesystem::perms{0644});
    const auto upload = [&](const FoundDevice& device, const std::string& path) {
        bed.start("update device encoder " + device.id + " " + path + "!", {device});
    };

    upload(refusing, "/nonexistent");
    EXPECT_EQ(bed.answer(), failure("update device encoder"));
    bed.daemon.awaitOutput("/nonexistent open failed...\n");
    upload(refusing, image.path());
    EXPECT_EQ(bed.answer(), failure("update device encoder"));
    bed.daemon.awaitOutput(
        "getsockopt SO_ERROR=111 errno:115 Operation now in progress\nConnect error\n");
    upload(unreachable, image.path());
    EXPECT_EQ(bed.answer(), failure("update device encoder"));
    bed.daemon.awaitOutput("connect timeout. error:115 Operation now in progress\nConnect error\n");
    upload(leaving, image.path());
    bed::Upload begun = port.accept();
    begun.receive(1);
    begun.reset();
    EXPECT_EQ(bed.answer(), failure("update device encoder"));
    bed.daemon.awaitOutput("Tcp_Send err!\n");
    EXPECT_TRUE(bed.daemon.isRunning());
}

TEST(Confined, serves_many_connections_until_no_descriptor_is_left) {
    const bed::Namespaces namespaces;
    bed::DaemonOptions options = confinedDaemon();
    options.limits.emplace_back(RLIMIT_NOFILE, 32);
    bed::Daemon daemon(options);
    bed::Segment segment;
    // Enough for the allocator to ask how many processors there are.
    std::vector<bed::Console> consoles(20);
    for (bed::Console& console : consoles) {
        EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
    }
    for (bed::Console& console : consoles) {
        console.send("exit!");
        console.awaitClosed();
    }
    const std::vector<bed::Console> tooMany(32);
    daemon.awaitError("accept: Too many open files\n");
    EXPECT_TRUE(daemon.isRunning());
}

// With one arena for all threads, some of them may meet at its lock.
TEST(Confined, serves_connections_that_get_in_each_others_way) {
    const bed::Namespaces namespaces;
    bed::DaemonOptions options = confinedDaemon();
    options.environment = {"GLIBC_TUNABLES=glibc.malloc.arena_max=1"};
    bed::Daemon daemon(options);
    std::vector<bed::Console> consoles(8);
    std::string lines;
    for (int i = 0; i < 2000; ++i) {
        lines += "hello!";
    }
    for (bed::Console& console : consoles) {
        console.send(lines + "exit!");
    }
    for (bed::Console& console : consoles) {
        console.awaitClosed();
    }
    EXPECT_TRUE(daemon.isRunning());
}

TEST(Confined, goes_on_after_it_was_stopped) {
    Conversation conversation;
    EXPECT_EQ(conversation.ask("hello!"), failure("hello!"));
    ::kill(conversation.daemon.pid(), SIGSTOP);
    bed::awaitCondition("the daemon to stand still",
                        [&] { return statusOf(conversation.daemon, "State").starts_with("T"); });
    ::kill(conversation.daemon.pid(), SIGCONT);
    EXPECT_EQ(conversation.ask("hello again!"), failure("hello again!"));
}

TEST(Confined, goes_on_without_the_control_interface) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    bed::Daemon daemon(confinedDaemon());
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "device showme rx01!"), failure("device showme"));
    daemon.awaitOutput("mac ioctl error\n");
    daemon.awaitOutput("pEthName(eth0.2) get ip err!\n");
}

TEST(Confined, goes_on_without_any_port) {
    const bed::Namespaces namespaces;
    const bed::Occupant replies(SOCK_DGRAM, bed::kReplyPort);
    const bed::Occupant console(SOCK_STREAM, bed::kConsolePort);
    bed::Daemon daemon(confinedDaemon());
    daemon.errors().awaitWhole("bind(): Address already in use\nbind: Address already in use\n");
    EXPECT_TRUE(daemon.isRunning());
}

TEST(Confined, goes_on_without_a_segment) {
    const bed::Namespaces namespaces;
    ASSERT_GE(::shmget(bed::kSegmentKey, 32, IPC_CREAT | IPC_EXCL), 0);
    bed::Daemon daemon(confinedDaemon());
    daemon.errors().awaitWhole("shmget errnor: Permission denied\n");
    EXPECT_TRUE(daemon.isRunning());
}

TEST(Confined, goes_on_without_outputs) {
    const bed::Namespaces namespaces;
    bed::DaemonOptions options = confinedDaemon();
    options.closed = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    const bed::Daemon daemon(options);
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "hello!"), failure("hello!"));
    EXPECT_EQ(daemon.descriptors()[STDERR_FILENO], "/dev/null");
}

TEST(Confined, says_which_library_is_missing) {
    const bed::Namespaces namespaces;
    const bed::Folder folder;
    const std::string library = folder.path() + "/libcjson.so.1";
    std::ofstream(library).close();
    bed::DaemonOptions options = confinedDaemon();
    options.environment = {"LD_LIBRARY_PATH=" + folder.path()};
    bed::Daemon daemon(options);
    EXPECT_EQ(daemon.awaitExit(), (bed::Exit{false, 127}));
    EXPECT_NE(daemon.errors().all().find(library + ": file too short\n"), std::string::npos);
}

TEST(Confined, dies_of_a_malformed_edid_with_the_usual_words) {
    bed::Session session(confinedDaemon());
    session.console.send("config get rx edid rx01!");
    session.device.receive();
    session.device.reply(bed::replyText("edid get", "success", "001122aabbcc", "rx01",
                                        R"("rxedid":{"edid":"AP8A="})"));
    EXPECT_EQ(session.daemon.awaitExit(), (bed::Exit{true, SIGABRT}));
    session.daemon.awaitError("Assertion `0 == bytes % 4' failed.\n");
}

TEST(Confined, dies_of_a_call_that_the_list_does_not_have) {
    const bed::Namespaces namespaces;
    const bed::Folder folder;
    const std::string list = folder.path() + "/list";
    std::ofstream(list) << "write\nexit_group\n";
    bed::Daemon daemon(daemonUnder(list));
    EXPECT_EQ(daemon.awaitExit(), (bed::Exit{true, SIGSYS}));
}

}  // namespace
