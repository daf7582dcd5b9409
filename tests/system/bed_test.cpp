// The bed itself: each piece against a stand-in whose behaviour is known.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bed/ip_tool.hpp"
#include "bed/session.hpp"

namespace {

using namespace std::chrono_literals;

/// A UDP socket on the controller side, bound as the daemon binds its own.
avoip::Descriptor controllerSocket() {
    avoip::Descriptor opened(::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(bed::kReplyPort);
    EXPECT_EQ(::bind(opened.get(), reinterpret_cast<sockaddr*>(&local), sizeof local), 0);
    return opened;
}

bool sendToGroup(int socket, const std::string& text) {
    sockaddr_in group{};
    group.sin_family = AF_INET;
    group.sin_port = htons(bed::kRequestPort);
    group.sin_addr.s_addr = ::inet_addr(bed::kGroup);
    return ::sendto(socket, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&group),
                    sizeof group) == static_cast<ssize_t>(text.size());
}

std::string receiveFrom(int socket, std::uint16_t* port = nullptr) {
    std::array<char, 2000> buffer{};
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    if (!bed::awaitReadable(socket)) {
        return "(nothing)";
    }
    const ssize_t count = ::recvfrom(socket, buffer.data(), buffer.size(), 0,
                                     reinterpret_cast<sockaddr*>(&sender), &size);
    if (port != nullptr) {
        *port = ntohs(sender.sin_port);
    }
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

bool interfaceExists(const char* name) {
    return ::if_nametoindex(name) != 0;
}

bool hasAddress(const char* name) {
    const avoip::Descriptor handle(::socket(AF_INET, SOCK_DGRAM, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    return ::ioctl(handle.get(), SIOCGIFADDR, &request) == 0;
}

bed::DaemonOptions shell(const std::string& script) {
    bed::DaemonOptions options;
    options.program = "/bin/sh";
    options.arguments = {"-c", script};
    return options;
}

TEST(BedNamespaces, the_control_interface_has_the_mac_address_asked_for) {
    const bed::Namespaces namespaces(bed::Control::kAddressed, "02:00:00:00:00:07");
    const avoip::Descriptor handle(::socket(AF_INET, SOCK_DGRAM, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, "eth0.2", IFNAMSIZ - 1);
    ASSERT_EQ(::ioctl(handle.get(), SIOCGIFHWADDR, &request), 0);
    EXPECT_EQ(std::memcmp(request.ifr_hwaddr.sa_data, "\x02\0\0\0\0\x07", 6), 0);
}

TEST(BedNamespaces, the_sides_see_only_their_own_end_of_the_cable) {
    const bed::Namespaces namespaces;
    EXPECT_TRUE(interfaceExists("eth0.2"));
    EXPECT_FALSE(interfaceExists("dev0"));
    EXPECT_TRUE(namespaces.onDeviceSide([] { return interfaceExists("dev0"); }));
    EXPECT_FALSE(namespaces.onDeviceSide([] { return interfaceExists("eth0.2"); }));
    EXPECT_TRUE(interfaceExists("eth0.2"));
}

TEST(BedNamespaces, the_control_interface_can_be_absent_and_come_later) {
    bed::Namespaces namespaces(bed::Control::kAbsent);
    EXPECT_FALSE(interfaceExists("eth0.2"));
    namespaces.addControlInterface();
    EXPECT_TRUE(hasAddress("eth0.2"));
}

TEST(BedNamespaces, the_control_interface_can_lack_its_address) {
    bed::Namespaces namespaces(bed::Control::kWithoutAddress);
    EXPECT_TRUE(interfaceExists("eth0.2"));
    EXPECT_FALSE(hasAddress("eth0.2"));
    namespaces.addAddress();
    EXPECT_TRUE(hasAddress("eth0.2"));
}

TEST(BedNamespaces, the_controller_side_can_be_changed_and_mended) {
    bed::Namespaces namespaces;
    bed::Device device(namespaces);
    const avoip::Descriptor socket = controllerSocket();

    namespaces.removeMulticastRoute();
    EXPECT_FALSE(sendToGroup(socket.get(), "no route"));
    namespaces.addMulticastRoute();
    EXPECT_TRUE(sendToGroup(socket.get(), "route"));
    EXPECT_EQ(device.receive().text, "route");

    namespaces.removeAddress();
    EXPECT_FALSE(hasAddress("eth0.2"));
    namespaces.addAddress();
    EXPECT_TRUE(sendToGroup(socket.get(), "address"));
    EXPECT_EQ(device.receive().text, "address");

    namespaces.linkDown();
    EXPECT_FALSE(sendToGroup(socket.get(), "link down"));
    namespaces.linkUp();
    EXPECT_TRUE(sendToGroup(socket.get(), "link up"));
    EXPECT_EQ(device.receive().text, "link up");
}

TEST(BedNamespaces, two_one_after_another_share_nothing) {
    {
        const bed::Namespaces first;
        bed::Segment::create(32);
        EXPECT_TRUE(bed::Segment::exists());
    }
    const bed::Namespaces second;
    EXPECT_FALSE(bed::Segment::exists());
    EXPECT_TRUE(interfaceExists("eth0.2"));
}

TEST(BedNamespaces, an_ordinary_user_gets_them_too) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer runs a thread of its own, which forbids user namespaces";
#endif
    const bed::DaemonOptions probe = shell("unshare --user --map-root-user true");
    if (::geteuid() == 0 && bed::Daemon(probe).awaitExit() != bed::Exit{}) {
        GTEST_SKIP() << "this system refuses user namespaces";
    }
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            // Giving root away also gives the files in /proc/self away, until it is dumpable again.
            // The root of a user namespace cannot give itself away and is an ordinary user already.
            if (::setgid(65534) == 0 &&
                (::setuid(65534) != 0 || ::prctl(PR_SET_DUMPABLE, 1) != 0)) {
                ::_exit(2);
            }
            for (int i = 0; i < 2; ++i) {
                const bed::Namespaces namespaces;
                bed::Device device(namespaces);
                sendToGroup(controllerSocket().get(), "hello");
                if (device.receive().text != "hello") {
                    ::_exit(3);
                }
            }
            ::_exit(0);
        } catch (const std::exception& problem) {
            std::fputs(problem.what(), stderr);
            ::_exit(4);
        }
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(BedNamespaces, what_the_ip_tool_refuses_is_said_in_its_own_words) {
    const bed::Namespaces namespaces;
    try {
        bed::ip("link set lo up\nlink set nowhere up");
        FAIL() << "no error";
    } catch (const bed::Error& error) {
        EXPECT_NE(std::string(error.what()).find("\"nowhere\""), std::string::npos) << error.what();
    }
}

TEST(BedDevice, hears_the_exact_bytes_and_their_sender) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    const avoip::Descriptor socket = controllerSocket();
    EXPECT_TRUE(device.hasHeardNothing());
    ASSERT_TRUE(sendToGroup(socket.get(), std::string("a\0b", 3)));
    const bed::Datagram heard = device.receive();
    EXPECT_EQ(heard.text, std::string("a\0b", 3));
    EXPECT_EQ(heard.address, "10.77.0.1");
    EXPECT_EQ(heard.port, 8003);
    EXPECT_TRUE(device.hasHeardNothing());
}

TEST(BedDevice, says_when_no_request_comes) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    EXPECT_THROW(device.receive(0ms), bed::Error);
}

TEST(BedDevice, replies_from_its_own_or_any_other_port_at_once_or_later) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    const avoip::Descriptor socket = controllerSocket();
    std::uint16_t port = 0;

    device.reply("one");
    EXPECT_EQ(receiveFrom(socket.get(), &port), "one");
    EXPECT_EQ(port, 8002);
    device.replyFrom(4242, "two");
    EXPECT_EQ(receiveFrom(socket.get(), &port), "two");
    EXPECT_EQ(port, 4242);
    device.replyAfter(20ms, "three");
    EXPECT_EQ(receiveFrom(socket.get()), "three");
}

TEST(BedDevice, loses_no_reply_of_a_large_burst) {
    const bed::Namespaces namespaces;
    bed::Device device(namespaces);
    const avoip::Descriptor socket = controllerSocket();
    const std::vector<std::string> replies(1100, std::string(1400, 'x'));
    std::size_t received = 0;
    std::jthread reader([&] {
        while (received < replies.size() && receiveFrom(socket.get()) == replies.front()) {
            ++received;
        }
    });
    device.replyAll(replies);
    reader.join();
    EXPECT_EQ(received, replies.size());
}

TEST(BedReplyText, puts_the_data_behind_the_ack) {
    EXPECT_EQ(bed::replyText("c", "success", "h", "d"),
              R"({"ack":{"cmd":"c","status":"success","hostid":"h","deviceid":"d"}})");
    EXPECT_EQ(bed::replyText("c", "failure", "h", "", R"("device":{})"),
              R"({"ack":{"cmd":"c","status":"failure","hostid":"h","deviceid":""},"device":{}})");
}

TEST(BedDaemon, its_streams_are_kept_apart_and_to_the_byte) {
    bed::Daemon program(shell("printf 'out'; printf 'err\\n' >&2"));
    EXPECT_EQ(program.awaitExit(), bed::Exit{});
    EXPECT_EQ(program.output().all(), "out");
    EXPECT_EQ(program.errors().all(), "err\n");
}

TEST(BedDaemon, output_is_awaited_in_its_order) {
    bed::Daemon program(shell("echo one; echo two; echo one; read forever </dev/zero"));
    program.awaitOutput("one");
    program.awaitOutput("one");
    program.output().awaitWhole("one\ntwo\none\n");
    program.stop(SIGKILL);
    EXPECT_THROW(program.awaitOutput("two"), bed::Error);
}

TEST(BedDaemon, tells_how_it_ended) {
    EXPECT_EQ(bed::Daemon(shell("exit 3")).awaitExit(), (bed::Exit{false, 3}));
    bed::Daemon program(shell("exec sleep 1000"));
    EXPECT_TRUE(program.isRunning());
    EXPECT_EQ(program.stop(SIGTERM), (bed::Exit{true, SIGTERM}));
    EXPECT_FALSE(program.isRunning());
}

TEST(BedDaemon, is_gone_with_its_children_when_the_object_goes) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    const avoip::Descriptor mine(ends[0]);
    avoip::Descriptor theirs(ends[1]);
    bed::DaemonOptions options = shell("sleep 1000 & echo ready; wait");
    options.standardOutput = theirs.get();
    {
        const bed::Daemon program(options);
        theirs.reset();
        EXPECT_EQ(receiveFrom(mine.get()), "ready\n");
    }
    EXPECT_EQ(receiveFrom(mine.get()), "");  // nobody is left who could write
}

TEST(BedDaemon, begins_with_no_descriptors_but_the_standard_ones) {
    bed::DaemonOptions options;
    options.program = "/bin/sleep";
    options.arguments = {"1000"};
    const bed::Daemon program(options);
    bed::awaitCondition("the program to be sleep", [&] {
        std::ifstream comm("/proc/" + std::to_string(program.pid()) + "/comm");
        std::string name;
        return std::getline(comm, name) && name == "sleep";
    });
    bed::awaitCondition("nothing but the standard descriptors",
                        [&] { return program.descriptors().size() == 3; });
    EXPECT_EQ(program.descriptors().at(0), "/dev/null");
    EXPECT_TRUE(program.descriptors().at(1).starts_with("pipe:"));
    EXPECT_TRUE(program.descriptors().at(2).starts_with("pipe:"));
    EXPECT_EQ(program.threadCount(), 1U);
    EXPECT_GT(program.resident_kib(), 0U);
}

TEST(BedDaemon, starts_with_limits_environment_and_taken_descriptors_as_asked) {
    bed::DaemonOptions options = shell(
        "ulimit -n; echo $COLOUR; cd /proc/$$/fd; for i in 3 1099 1100; do test -e $i; echo $?; "
        "done");
    options.environment = {"COLOUR=blue"};
    options.firstDescriptor = 1100;
    options.limits = {{RLIMIT_NOFILE, 1200}};
    bed::Daemon program(options);
    EXPECT_EQ(program.awaitExit(), bed::Exit{});
    EXPECT_EQ(program.output().all(), "1200\nblue\n0\n0\n1\n");
    EXPECT_EQ(program.errors().all(), "");
}

TEST(BedDaemon, its_output_can_go_elsewhere) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    const avoip::Descriptor mine(ends[0]);
    const avoip::Descriptor theirs(ends[1]);
    bed::DaemonOptions options = shell("printf one; printf two");
    options.standardOutput = theirs.get();
    bed::Daemon program(options);
    EXPECT_EQ(receiveFrom(mine.get()), "one");
    EXPECT_EQ(receiveFrom(mine.get()), "two");
    EXPECT_EQ(program.output().all(), "");
}

TEST(BedDaemon, a_program_that_cannot_be_started_says_so) {
    bed::DaemonOptions options;
    options.program = "/nonexistent";
    bed::Daemon program(options);
    EXPECT_EQ(program.awaitExit(), (bed::Exit{false, 127}));
    EXPECT_EQ(program.errors().all(), "/nonexistent: No such file or directory\n");
}

TEST(BedDaemon, stands_on_the_controller_side) {
    const bed::Namespaces namespaces;
    bed::Daemon program(shell("ls /sys/class/net >/dev/null; cat /proc/net/dev"));
    program.awaitExit();
    EXPECT_NE(program.output().all().find("eth0.2:"), std::string::npos);
}

// A listener on the console's port, which takes one connection.
class Listener {
  public:
    Listener() : listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(bed::kConsolePort);
        EXPECT_EQ(::bind(listening_.get(), reinterpret_cast<sockaddr*>(&local), sizeof local), 0);
        EXPECT_EQ(::listen(listening_.get(), 1), 0);
    }
    avoip::Descriptor accept() const {
        return avoip::Descriptor(::accept(listening_.get(), nullptr, nullptr));
    }

  private:
    avoip::Descriptor listening_;
};

TEST(BedConsole, sends_bytes_and_sees_the_end) {
    const bed::Namespaces namespaces;
    const Listener listener;
    bed::Console console;
    avoip::Descriptor served = listener.accept();
    console.send("config get devices!");
    EXPECT_EQ(receiveFrom(served.get()), "config get devices!");
    EXPECT_TRUE(console.hasHeardNothing());
    console.finishSending();
    EXPECT_EQ(receiveFrom(served.get()), "");
    served.reset();
    EXPECT_EQ(console.awaitClosed(), "");
}

TEST(BedConsole, reports_what_it_should_not_have_heard) {
    const bed::Namespaces namespaces;
    const Listener listener;
    bed::Console console;
    avoip::Descriptor served = listener.accept();
    ASSERT_EQ(::send(served.get(), "oops", 4, 0), 4);
    bed::awaitCondition("the bytes to arrive", [&] { return !console.hasHeardNothing(); });
    served.reset();
    EXPECT_EQ(console.awaitClosed(), "oops");
}

TEST(BedConsole, a_reset_fails_the_other_side) {
    const bed::Namespaces namespaces;
    const Listener listener;
    bed::Console console;
    const avoip::Descriptor served = listener.accept();
    console.reset();
    ASSERT_TRUE(bed::awaitReadable(served.get()));
    char byte = 0;
    EXPECT_EQ(::recv(served.get(), &byte, 1, 0), -1);
    EXPECT_EQ(errno, ECONNRESET);
}

TEST(BedConsole, waits_for_the_listener) {
    const bed::Namespaces namespaces;
    avoip::Descriptor served;
    std::jthread late([&] {
        std::this_thread::sleep_for(20ms);
        served = Listener().accept();
    });
    const bed::Console console;
    late.join();
    EXPECT_GE(served.get(), 0);
}

TEST(BedSegment, an_answer_is_the_text_behind_the_prefix) {
    const bed::Namespaces namespaces;
    bed::Segment::create(32);
    bed::Segment segment;
    EXPECT_EQ(segment.status().shm_segsz, 32U);
    EXPECT_EQ(segment.bytes().size(), 4096U);
    EXPECT_FALSE(segment.hasAnswer());
    std::strncpy(segment.bytes().data(), "end\r\n{\"ack\":{}}", 20);
    EXPECT_EQ(segment.awaitAnswer(), "{\"ack\":{}}");
    segment.clear();
    EXPECT_FALSE(segment.hasAnswer());
    EXPECT_THROW((void)segment.awaitAnswer(5ms), bed::Error);
}

TEST(BedSegment, is_waited_for_and_can_be_removed) {
    const bed::Namespaces namespaces;
    std::jthread late([] {
        std::this_thread::sleep_for(20ms);
        bed::Segment::create(4096);
    });
    const bed::Segment segment;
    bed::Segment::remove();
    EXPECT_FALSE(bed::Segment::exists());
}

TEST(BedSegment, asking_clears_before_it_sends) {
    const bed::Namespaces namespaces;
    const Listener listener;
    bed::Segment::create(4096);
    bed::Segment segment;
    std::strncpy(segment.bytes().data(), "end\r\nstale", 20);
    bed::Console console;
    const avoip::Descriptor served = listener.accept();
    std::jthread server([&] {
        EXPECT_EQ(receiveFrom(served.get()), "hello!");
        std::strncpy(segment.bytes().data() + 5, "fresh", 20);
        for (std::size_t i = 0; i < bed::kAnswerPrefix.size(); ++i) {
            std::atomic_ref(segment.bytes()[i])
                .store(bed::kAnswerPrefix[i], std::memory_order_release);
        }
    });
    EXPECT_EQ(segment.ask(console, "hello!"), "fresh");
}

TEST(BedSession, carries_a_conversation_from_the_console_to_the_segment) {
    bed::Session session;
    session.segment.clear();
    session.console.send("matrix get RX1!");
    EXPECT_EQ(
        session.device.receive().text,
        R"({"request":{"cmd":"matrix get","hostid":"001122aabbcc","device":[{"id":"RX1"}]}})");
    session.device.reply(bed::replyText("matrix get", "success", "001122aabbcc", "RX1",
                                        R"("rxsource":{"rxid":"RX1","txid":"TX1"})"));
    EXPECT_EQ(session.segment.awaitAnswer(), R"({"ack":{"cmd":"matrix get","status":"success"},)"
                                             R"("rxsource":[{"rxid":"RX1","txid":"TX1"}]})");
    EXPECT_TRUE(session.console.hasHeardNothing());
}

}  // namespace
