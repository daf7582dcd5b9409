#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "bed/segment.hpp"
#include "bed/stand_in.hpp"
#include "frontend_bed.hpp"
#include "gtest/gtest.h"
#include "lib/base/descriptor.hpp"
#include "lib/frontend/avoip_frontend.h"
#include "system_calls.hpp"

namespace {

using namespace std::chrono_literals;

std::string refusal(const std::string& command) {
    const char* const text = avoip_frontend_refusal(command.c_str());
    return text == nullptr ? "" : text;
}

}  // namespace

TEST_F(FrontEnd, hands_out_what_stands_behind_the_prefix) {
    bed::StandIn daemon(always(R"({"ack":{"cmd":"x","status":"success"}})"));
    Asker asker;
    EXPECT_EQ(asker.ask("config get devices!"), AVOIP_OK) << asker.error();
    EXPECT_EQ(asker.answer, R"({"ack":{"cmd":"x","status":"success"}})");
    EXPECT_EQ(daemon.lines(), std::vector<std::string>{"config get devices!"});
}

TEST_F(FrontEnd, does_not_take_an_old_answer_for_a_new_one) {
    bed::StandIn daemon([](const std::string&) {
        std::this_thread::sleep_for(50ms);
        return "new";
    });
    daemon.post("old");
    Asker asker;
    EXPECT_EQ(asker.ask("x!"), AVOIP_OK);
    EXPECT_EQ(asker.answer, "new");
}

TEST_F(FrontEnd, waits_for_the_whole_prefix) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string&) {
        standIn->post("half", "end\r");
        return std::nullopt;
    });
    standIn = &daemon;
    Asker asker;
    EXPECT_EQ(asker.ask("x!", 200), AVOIP_TIME_OUT);
}

TEST_F(FrontEnd, hands_out_an_empty_answer) {
    bed::StandIn daemon(always(""));
    Asker asker;
    EXPECT_EQ(asker.ask("x!"), AVOIP_OK);
    EXPECT_EQ(asker.answer, "");
}

TEST_F(FrontEnd, hands_out_an_answer_of_four_mebibytes) {
    const std::string large(4'194'304, 'x');
    bed::StandIn daemon(always(large), large.size() + 6);
    Asker asker;
    EXPECT_EQ(asker.ask("x!"), AVOIP_OK);
    EXPECT_EQ(asker.answer, large);
}

TEST_F(FrontEnd, reads_a_small_segment_to_the_end_of_its_page_and_no_further) {
    bed::StandIn daemon(always(std::string(10'000, 'x')), 32);
    Asker asker;
    EXPECT_EQ(asker.ask("x!"), AVOIP_OK);
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    EXPECT_EQ(asker.answer, std::string(page - 5, 'x'));
}

TEST_F(FrontEnd, keeps_its_connection_from_ask_to_ask) {
    bed::StandIn daemon([](const std::string& line) { return line; });
    Asker asker;
    for (const std::string line : {"a!", "b!", "c!"}) {
        EXPECT_EQ(asker.ask(line), AVOIP_OK);
        EXPECT_EQ(asker.answer, line);
    }
    EXPECT_EQ(daemon.connectionCount(), 1U);
}

TEST_F(FrontEnd, connects_anew_when_the_daemon_has_ended_the_connection) {
    bed::StandIn daemon(always("yes"));
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK);
    daemon.endConnections();
    EXPECT_EQ(asker.ask("b!"), AVOIP_OK) << asker.error();
    EXPECT_EQ(daemon.connectionCount(), 2U);
}

TEST_F(FrontEnd, goes_on_with_a_daemon_that_was_started_again_with_a_new_segment) {
    Asker asker;
    {
        bed::StandIn daemon(always("first"));
        EXPECT_EQ(asker.ask("a!"), AVOIP_OK);
        EXPECT_EQ(asker.answer, "first");
    }
    bed::Segment::remove();
    bed::StandIn daemon(always("second"));
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
    EXPECT_EQ(asker.answer, "second");
}

TEST_F(FrontEnd, says_that_no_daemon_listens) {
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_NO_DAEMON);
    EXPECT_EQ(asker.error(),
              "No daemon at 127.0.0.1 port 6888 (Connection refused). Start avoipd, or correct the "
              "host and the port.");
}

TEST_F(FrontEnd, tries_again_for_a_while_when_a_daemon_is_being_started_again) {
    std::optional<bed::StandIn> daemon;
    std::jthread late([&] {
        std::this_thread::sleep_for(300ms);
        daemon.emplace(always("yes"));
    });
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
    late.join();
    EXPECT_EQ(daemon->connectionCount(), 1U);
}

TEST_F(FrontEnd, waits_no_longer_than_its_time_for_the_name_of_a_host) {
    // A name server that says nothing, in a file system of the test's own.
    const std::string resolver = folder + "/resolv.conf";
    std::ofstream(resolver) << "nameserver 127.0.0.1\n";
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount(resolver.c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) != 0) {
        GTEST_SKIP() << "needs a mount namespace of its own, which only root gets";
    }
    const avoip::Descriptor silent(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    char* answer = nullptr;
    avoip_frontend* const frontend = avoip_frontend_open("far.example", AVOIP_CONSOLE_PORT);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(avoip_frontend_ask(frontend, "a!", 200, &answer), AVOIP_NO_DAEMON);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
    EXPECT_STREQ(avoip_frontend_error(frontend),
                 "The host far.example is not known (Temporary failure in name resolution). Use "
                 "127.0.0.1 for this machine.");
    avoip_frontend_close(frontend);
}

TEST_F(FrontEnd, finds_the_daemon_by_the_name_of_its_host) {
    bed::StandIn daemon(always("x"));
    char* answer = nullptr;
    avoip_frontend* const frontend = avoip_frontend_open("localhost", AVOIP_CONSOLE_PORT);
    EXPECT_EQ(avoip_frontend_ask(frontend, "a!", kPatienceMs, &answer), AVOIP_OK);
    std::free(answer);
    avoip_frontend_close(frontend);
}

TEST_F(FrontEnd, says_that_the_segment_is_too_small_and_leaves_it_alone) {
    bed::StandIn daemon(always("x"), 4);
    const auto before = bed::Segment().status().shm_nattch;
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_NO_SEGMENT);
    EXPECT_EQ(asker.error(),
              "The answer segment (key 0x12345678) is too small: it has room for 4 bytes. End the "
              "daemon, remove the segment (ipcrm -M 0x12345678) and start the daemon again.");
    EXPECT_EQ(bed::Segment().status().shm_nattch, before);
    EXPECT_TRUE(daemon.lines().empty());
}

TEST_F(FrontEnd, reads_a_larger_segment_no_further_than_the_largest_answer) {
    const std::string endless(6'000'000, 'x');
    bed::StandIn daemon(always(endless), 8'000'000);
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK);
    EXPECT_EQ(asker.answer, endless.substr(0, 4'194'304));
}

TEST_F(FrontEnd, says_that_there_is_no_segment) {
    bed::StandIn daemon(nothing, 0);
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_NO_SEGMENT);
    EXPECT_EQ(
        asker.error(),
        "The answer segment (key 0x12345678) is not there (No such file or directory). avoipd "
        "must run on this machine and in the same IPC namespace; its output says whether it "
        "could make the segment.");
    EXPECT_TRUE(daemon.lines().empty());
}

TEST_F(FrontEnd, waits_a_moment_for_the_segment_of_a_daemon_that_has_just_begun_to_listen) {
    bed::StandIn daemon(
        [&](const std::string&) {
            bed::Segment segment;
            segment.bytes()[5] = '\0';
            std::ranges::copy(bed::kAnswerPrefix, segment.bytes().begin());
            return std::nullopt;
        },
        0);
    Asker asker;
    SystemCalls calls;
    int looks = 0;
    calls.beforeShmget = [&looks] {
        if (++looks == 3) {
            bed::Segment::create(4096);
        }
    };
    EXPECT_EQ(calls.during([&] { return asker.ask("a!"); }), AVOIP_OK) << asker.error();
    // The first look was for the group of the lock file, and found none.
    EXPECT_EQ(looks, 4);
    EXPECT_EQ(daemon.lines().size(), 1U);
}

TEST_F(FrontEnd, says_that_the_segment_may_not_be_written) {
    bed::StandIn daemon(always("x"));
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    const avoip::Descriptor lock(::open(lockFile.c_str(), O_RDONLY | O_CREAT, 0644));
    ASSERT_EQ(::fchmod(lock.get(), 0666), 0);
    if (::setgroups(0, nullptr) != 0 || ::setegid(65534) != 0 || ::seteuid(65534) != 0) {
        GTEST_SKIP() << "needs to become another user, which only root can";
    }
    Asker asker;
    const avoip_result result = asker.ask("a!");
    ASSERT_EQ(::seteuid(0), 0);
    ASSERT_EQ(::setegid(0), 0);
    EXPECT_EQ(result, AVOIP_NO_SEGMENT);
    EXPECT_EQ(asker.error(),
              "The answer segment (key 0x12345678) cannot be attached for reading and writing "
              "(Permission denied). Use the daemon's user, its group, or root.");
}

TEST_F(FrontEnd, gives_up_after_its_time_out) {
    bed::StandIn daemon(nothing);
    Asker asker;
    // Long enough for a slow machine to come as far as waiting for the answer.
    EXPECT_EQ(asker.ask("a!", 3000), AVOIP_TIME_OUT);
    EXPECT_EQ(
        asker.error(),
        "No answer within 3000 ms. The daemon may still be at work on it; try again later, or "
        "give a longer time-out.");
}

TEST_F(FrontEnd, does_not_queue_up_behind_a_command_that_timed_out) {
    std::atomic<bool> released = false;
    bed::StandIn daemon([&](const std::string& line) -> std::optional<std::string> {
        while (line == "slow!" && !released) {
            std::this_thread::sleep_for(1ms);
        }
        return line == "slow!" ? std::nullopt : std::optional<std::string>(line);
    });
    Asker asker;
    EXPECT_EQ(asker.ask("slow!", 3000), AVOIP_TIME_OUT);
    // Without its note nobody waits for the answer to the slow one.
    std::filesystem::remove(lockFile);
    EXPECT_EQ(asker.ask("quick!"), AVOIP_OK) << asker.error();
    EXPECT_EQ(asker.answer, "quick!");
    released = true;
}

TEST_F(FrontEnd, does_not_wait_on_when_the_daemon_ends_the_connection_without_an_answer) {
    bed::StandIn* standIn = nullptr;
    bed::StandIn daemon([&](const std::string&) {
        standIn->endConnections();
        return std::nullopt;
    });
    standIn = &daemon;
    Asker asker;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(asker.ask("a!", 60'000), AVOIP_NO_DAEMON);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    EXPECT_EQ(asker.error(),
              "The daemon has ended the connection without an answer. Look at its output and start "
              "it again.");
    // It may have been carried out, so it was not sent again.
    EXPECT_EQ(daemon.lines().size(), 1U);
}

TEST_F(FrontEnd, refuses_what_the_console_could_not_carry) {
    EXPECT_EQ(refusal("config get devices!"), "");
    EXPECT_EQ(refusal("!"), "");
    EXPECT_EQ(refusal("config get devices"), "A command must end in \"!\".");
    EXPECT_EQ(refusal(""), "A command must end in \"!\".");
    const std::string twice =
        "A command must hold one \"!\" only, at its end: the console takes the first as its end.";
    EXPECT_EQ(refusal("a!b!"), twice);
    EXPECT_EQ(refusal("a!!"), twice);
    EXPECT_EQ(refusal("a! "), twice);
    const std::string lineEnd =
        "A command must not hold a line end: the console removes CR and LF.";
    EXPECT_EQ(refusal("a\rb!"), lineEnd);
    EXPECT_EQ(refusal("a\n!"), lineEnd);
    EXPECT_EQ(
        refusal("config set device alias tx01 No exit here!"),
        "A command must not hold the letters \"exit\": the console takes them as the order to "
        "end the connection.");
    EXPECT_EQ(refusal("EXIT!"), "");
    EXPECT_EQ(refusal(std::string(4095, 'x') + "!"),
              "A command must not be longer than 4095 bytes.");
}

TEST_F(FrontEnd, sends_nothing_of_what_it_refuses) {
    bed::StandIn daemon(always("x"));
    Asker asker;
    EXPECT_EQ(asker.ask("a!b!"), AVOIP_REFUSED);
    EXPECT_EQ(asker.error(), refusal("a!b!"));
    EXPECT_EQ(daemon.connectionCount(), 0U);
}

TEST_F(FrontEnd, sends_a_command_of_4095_bytes_whole) {
    bed::StandIn daemon(always("x"));
    const std::string longest = std::string(4094, 'x') + "!";
    Asker asker;
    EXPECT_EQ(asker.ask(longest), AVOIP_OK);
    EXPECT_EQ(daemon.lines(), std::vector<std::string>{longest});
}

TEST_F(FrontEnd, gives_each_of_two_at_once_its_own_answer) {
    bed::StandIn daemon([](const std::string& line) { return line; });
    const auto askMany = [](const std::string& name) {
        Asker asker;
        for (int i = 0; i < 50; ++i) {
            const std::string line = name + std::to_string(i) + "!";
            ASSERT_EQ(asker.ask(line), AVOIP_OK) << asker.error();
            ASSERT_EQ(asker.answer, line);
        }
    };
    std::jthread other([&] { askMany("second "); });
    askMany("first ");
}

TEST_F(FrontEnd, can_be_closed_when_there_is_none) {
    avoip_frontend_close(nullptr);
}
