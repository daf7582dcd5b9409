// Every fault that makes the daemon useless, made for real under avoipguard, and the time until it
// works again. With AVOIP_FAULT_TIMES=FILE the times are added to the file, a table's row each.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "bed/image_file.hpp"
#include "bed/ip_tool.hpp"
#include "bed/occupant.hpp"
#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/sockets.hpp"
#include "system/guard_bed.hpp"

namespace {

class GuardFaults : public Guarded {
  protected:
    pid_t daemon() const { return health().daemonPid; }

    /// Takes from the daemon what it would be given otherwise.
    void limit(__rlimit_resource resource, rlim_t most) const {
        rlimit changed{};
        ASSERT_EQ(::prlimit(daemon(), resource, nullptr, &changed), 0);
        changed.rlim_cur = most;
        ASSERT_EQ(::prlimit(daemon(), resource, &changed, nullptr), 0);
    }

    static void note(const std::string& fault, std::chrono::milliseconds time) {
        const std::string row = "| " + fault + " | " + std::to_string(time.count()) + " ms |";
        RecordProperty("cured", row);
        if (const char* const path = std::getenv("AVOIP_FAULT_TIMES")) {
            std::ofstream(path, std::ios::app) << row << "\n";
        }
    }

    /// How long something takes.
    static std::chrono::milliseconds timeOf(const std::function<void()>& act) {
        const auto begin = std::chrono::steady_clock::now();
        act();
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
    }

    /// Makes a fault that a restart mends, and waits until the guard has said so and a new daemon
    /// works.
    void expectCured(const std::string& fault, const std::function<void()>& make,
                     const std::string& reason) {
        const int restarts = health().restarts;
        note(fault, timeOf([&] {
                 make();
                 awaitRestart(restarts);
             }));
        awaitLine("avoipguard: useless: " + reason);
        awaitLine("avoipguard: ok: avoipd is process " + std::to_string(daemon()) + ".");
        expectWorks();
    }
};

using GuardFaultsInLittleSpace = GuardedInLittleSpace;

/// Where half a mebibyte of memory can still be had, as the system says.
class GuardFaultsInLittleMemory : public GuardFaults {
  protected:
    void SetUp() override {
        const std::string memory = folder + "/meminfo";
        std::ofstream(memory) << "MemAvailable: 512 kB\n";
        const bed::DaemonOptions usual = options();
        bed::DaemonOptions made;
        made.program = "/usr/bin/unshare";
        made.arguments = {"--mount", "sh",
                          "-c",      "mount --bind \"$0\" /proc/meminfo && exec \"$@\"",
                          memory,    usual.program};
        made.arguments.insert(made.arguments.end(), usual.arguments.begin(), usual.arguments.end());
        start(made);
    }
};

/// The test as the guard names it.
std::string thisProcess() {
    std::ifstream file("/proc/self/comm");
    std::string name;
    std::getline(file, name);
    return "process " + std::to_string(::getpid()) + " (" + name + ")";
}

void discover(const std::string& line, bool isAnswered) {
    bed::FrontEnd frontEnd;
    const auto answer = frontEnd.ask(line, bed::kPatience);
    ASSERT_NE(answer, nullptr) << frontEnd.explanation();
    EXPECT_EQ(std::string(answer.get()).find("success") != std::string::npos, isAnswered);
}

}  // namespace

TEST_F(GuardFaults, a_killed_daemon_is_started_again) {
    start();
    expectCured(
        "the daemon is killed", [&] { ::kill(daemon(), SIGKILL); },
        "avoipd has ended by signal 9 (Killed).");
}

TEST_F(GuardFaults, a_stopped_daemon_is_replaced) {
    start();
    expectCured(
        "the daemon is stopped (SIGSTOP)", [&] { ::kill(daemon(), SIGSTOP); },
        "avoipd is stopped, by a signal or a debugger.");
}

TEST_F(GuardFaults, a_console_that_leaves_a_byte_unread_for_a_second_has_its_daemon_replaced) {
    start();
    // The last thread is that of the guard's connection; the others go on.
    std::vector<pid_t> threads;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(daemon()) + "/task")) {
        threads.push_back(std::stoi(entry.path().filename()));
    }
    ASSERT_EQ(threads.size(), 3U);
    const pid_t thread = threads.back();
    expectCured(
        "the console stands still",
        [&] {
            ASSERT_EQ(::ptrace(PTRACE_SEIZE, thread, nullptr, nullptr), 0);
            ASSERT_EQ(::ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr), 0);
        },
        "avoipd stands still: its console has not read a byte for a second.");
    ::waitpid(thread, nullptr, __WALL);
}

TEST_F(GuardFaults, a_listener_that_ended_without_a_descriptor_has_its_daemon_replaced) {
    start();
    expectCured(
        "the listener ended: no descriptor was left",
        [&] {
            limit(RLIMIT_NOFILE, 0);
            const bed::Console refused;
        },
        "avoipd takes no new connections: its listener has ended.");
}

TEST_F(GuardFaults, a_listener_that_ended_without_a_thread_has_its_daemon_replaced) {
    start();
    expectCured(
        "the listener ended: there was no thread for a connection",
        [&] {
            limit(RLIMIT_AS, 4096);
            const bed::Console unserved;
        },
        "avoipd takes no new connections: its listener has ended.");
}

TEST_F(GuardFaults, a_removed_segment_is_made_anew) {
    start();
    expectCured(
        "the answer segment is removed", [] { bed::Segment::remove(); },
        "The answer segment (key 0x12345678) is gone.");
}

TEST_F(GuardFaults, a_segment_in_the_place_of_the_daemons_is_replaced) {
    start();
    expectCured(
        "another segment stands in its place",
        [] {
            bed::Segment::remove();
            bed::Segment::create(32);
        },
        "The answer segment (key 0x12345678) is not the one that avoipd answers in any more.");
    EXPECT_GT(bed::Segment().status().shm_segsz, std::size_t{4} << 20U);
}

TEST_F(GuardFaults, a_segment_given_to_another_user_is_replaced) {
    start();
    expectCured(
        "the answer segment is given to another user",
        [] {
            shmid_ds changed = bed::Segment().status();
            changed.shm_perm.uid = 4711;
            const int id = ::shmget(bed::kSegmentKey, 0, 0);
            ASSERT_EQ(::shmctl(id, IPC_SET, &changed), 0);
        },
        "The answer segment (key 0x12345678) is not the one that avoipd answers in any more.");
    EXPECT_EQ(bed::Segment().status().shm_perm.uid, 0U);
}

TEST_F(GuardFaults, a_socket_closed_by_a_failed_send_is_had_back_with_the_route) {
    start();
    namespaces.removeMulticastRoute();
    awaitReason("No route leads to the devices' group 239.255.255.250");
    discover("config get devices!", false);
    awaitState("waiting");
    expectCured(
        "a request failed for want of a route (from the route's return)",
        [&] { namespaces.addMulticastRoute(); },
        "avoipd has no socket on UDP port 8003: it could not be opened, or a request could not be "
        "sent.");
}

TEST_F(GuardFaults, a_route_that_flaps_while_a_request_is_sent_costs_one_restart) {
    start();
    expectCured(
        "a request failed while the route flapped",
        [&] {
            namespaces.removeMulticastRoute();
            discover("config get devices!", false);
            namespaces.addMulticastRoute();
        },
        "avoipd has no socket on UDP port 8003: it could not be opened, or a request could not be "
        "sent.");
}

TEST_F(GuardFaults, another_mac_address_has_the_daemon_replaced) {
    start();
    identity = "001122aabbdd";
    expectCured(
        "the MAC address of eth0.2 is changed",
        [] { bed::ip("link set eth0.2 address 00:11:22:aa:bb:dd"); },
        "avoipd calls itself 001122aabbcc, but the MAC address of eth0.2 is 001122aabbdd.");
}

TEST_F(GuardFaults, a_daemon_that_could_not_read_its_identity_is_replaced) {
    // The interface goes under the daemon's hands, and comes back before the guard looks again.
    const std::string once = folder + "/once";
    guard = std::make_unique<bed::Daemon>(
        options(script("if [ ! -e " + once + " ]; then\n  : > " + once +
                       "\n"
                       "  kill -STOP $PPID\n"
                       "  ip link set eth0.2 down && ip link set eth0.2 name away\n"
                       "fi\n"
                       "exec $avoipd")));
    bed::awaitCondition("the daemon's console",
                        [] { return avoip::Sockets_listener(AVOIP_CONSOLE_PORT) != 0; });
    bed::ip("link set away name eth0.2");
    bed::ip("link set eth0.2 up");
    bed::ip("route add 224.0.0.0/4 dev eth0.2");
    note("the daemon started without an identity", timeOf([&] {
             ::kill(guard->pid(), SIGCONT);
             awaitRestart(0);
         }));
    awaitLine(
        "avoipguard: useless: avoipd has no identity: it could not read the MAC address of "
        "eth0.2.");
    expectWorks();
}

TEST_F(GuardFaults, an_interface_that_comes_back_as_it_was_needs_no_restart) {
    start();
    bed::ip("link del eth0.2");
    awaitReason("There is no control interface eth0.2.");
    note("eth0.2 went and came back (from its return)", timeOf([&] {
             namespaces.addControlInterface();
             awaitState("ok");
         }));
    EXPECT_EQ(health().restarts, 0);
    expectWorks();
}

TEST_F(GuardFaults, an_interface_that_comes_back_with_another_mac_address_has_it_replaced) {
    start();
    bed::ip("link del eth0.2");
    awaitReason("There is no control interface eth0.2.");
    identity = "001122aabbee";
    note("eth0.2 came back with another MAC address (from its return)", timeOf([&] {
             namespaces.addControlInterface(true, "00:11:22:aa:bb:ee");
             awaitRestart(0);
         }));
    expectWorks();
}

TEST_F(GuardFaults, a_second_process_on_the_reply_port_is_named_until_it_is_gone) {
    start();
    {
        const bed::Occupant other(SOCK_DGRAM, 8003, true);
        awaitReason("UDP port 8003 is shared with " + thisProcess() +
                    ", which takes replies of the devices: end it.");
        EXPECT_EQ(health().state, avoip::HealthState::kUseless);
    }
    note("another process shared UDP port 8003 (from its end)", timeOf([&] { awaitState("ok"); }));
    EXPECT_EQ(health().restarts, 0);
    expectWorks();
}

TEST_F(GuardFaults, the_holder_of_the_reply_port_is_named_until_it_is_gone) {
    {
        const bed::Occupant other(SOCK_DGRAM, 8003);
        guard = std::make_unique<bed::Daemon>(options());
        awaitReason("UDP port 8003 is held by " + thisProcess() + ": end it.");
        EXPECT_EQ(health().daemonPid, 0);
    }
    note("another process held UDP port 8003 at the start (from its end)",
         timeOf([&] { awaitState("ok"); }));
    expectWorks();
}

TEST_F(GuardFaults, the_holder_of_the_console_port_is_named_until_it_is_gone) {
    {
        const bed::Occupant other(SOCK_STREAM, 6888);
        guard = std::make_unique<bed::Daemon>(options());
        awaitReason("TCP port 6888 is held by " + thisProcess() + ": end it.");
        EXPECT_EQ(health().daemonPid, 0);
    }
    note("another process held TCP port 6888 at the start (from its end)",
         timeOf([&] { awaitState("ok"); }));
    expectWorks();
}

TEST_F(GuardFaults, the_assertion_of_a_malformed_edid_ends_a_daemon_that_is_started_again) {
    start();
    expectCured(
        "a decoder's malformed EDID ended the daemon",
        [&] {
            bed::Device device(namespaces);
            bed::Console console;
            console.send("config get rx edid rx01!");
            device.receive();
            device.reply(bed::replyText("edid get", "success", identity, "rx01",
                                        R"("rxedid":{"edid":"QUJD1"})"));
            console.awaitClosed();
        },
        "avoipd has ended by signal 6 (Aborted).");
}

TEST_F(GuardFaults, descriptors_that_requests_without_an_address_leak_are_had_back) {
    bed::DaemonOptions made = options();
    made.limits = {{RLIMIT_NOFILE, 64}};
    start(made);
    namespaces.removeAddress();
    for (int i = 0; i < 36; ++i) {
        discover("device showme rx01!", false);
    }
    namespaces.addAddress();
    note("descriptors 60 % used up by requests without an address (from its return)",
         timeOf([&] { awaitRestart(0); }));
    awaitLine(" % of its descriptors: it is replaced by a new one.");
    expectWorks();
}

TEST_F(GuardFaults, descriptors_that_failed_uploads_leak_are_had_back) {
    bed::DaemonOptions made = options();
    made.limits = {{RLIMIT_NOFILE, 32}};
    start(made);
    bed::Device device(namespaces);
    const bed::ImageFile image({.magic = "none"});
    bed::Console console;
    console.send("update all encoders " + image.path() + "!");
    device.receive();
    for (int i = 0; i < 18; ++i) {
        const std::string id = "tx" + std::to_string(i);
        device.reply(
            bed::replyText("config get device", "success", identity, id,
                           R"("device":{"deviceid":")" + id +
                               R"(","alias":"","devtype":"","devaddr":"10.77.0.2","devnetmask":"",)"
                               R"("devgateway":"","devmac":"","status":"","version":""})"));
    }
    console.finishSending();
    note("descriptors 60 % used up by failed uploads (with the upload's second)",
         timeOf([&] { awaitRestart(0); }));
    awaitLine(" % of its descriptors: it is replaced by a new one.");
    expectWorks();
}

TEST_F(GuardFaultsInLittleSpace, addresses_that_ended_connections_keep_are_had_back) {
    for (int restarts = 0; restarts < 3; ++restarts) {
        fresh = size_bytes();
        // A front end for each command, as a script has one.
        while (share() < 0.62 && health().restarts == restarts) {
            bed::FrontEnd frontEnd;
            ASSERT_NE(frontEnd.ask("hello!", bed::kPatience), nullptr) << frontEnd.explanation();
        }
        awaitRestart(restarts);
    }
    expectWorks();
}

TEST_F(GuardFaultsInLittleMemory, memory_that_ended_connections_keep_is_had_back) {
    auto last = std::chrono::steady_clock::now();
    for (int ended = 0; ended < 500 && health().restarts == 0; ++ended) {
        last = std::chrono::steady_clock::now();
        bed::FrontEnd frontEnd;
        ASSERT_NE(frontEnd.ask("hello!", bed::kPatience), nullptr) << frontEnd.explanation();
    }
    awaitRestart(0);
    note("memory 60 % used up by ended connections (from the last)",
         std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               last));
    awaitLine(" % of its memory: it is replaced by a new one.");
    expectWorks();
}
