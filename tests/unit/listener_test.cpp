// How the listener ends: what it returns, what it prints, and what goes on without it.
#include <fcntl.h>
#include <netinet/in.h>

#include <string>

#include "bed/console.hpp"
#include "bed/segment.hpp"
#include "capture_output.hpp"
#include "console_fixture.hpp"
#include "scarcity.hpp"
#include "system_calls.hpp"

namespace {

constexpr const char* kListening = "Server: listening for client requests....\n";

class ListenerTest : public ConsoleFixture {
  protected:
    ListenerTest() { startWithoutListener(); }
};

TEST_F(ListenerTest, returns_0_after_a_stop) {
    int result = -1;
    captureOutput([&] {
        RunningListener listener;
        { const bed::Console console; }
        Telnet_stop();
        result = listener.result();
    });
    EXPECT_EQ(result, 0);
}

TEST_F(ListenerTest, looks_once_a_second_whether_it_is_stopped_and_then_outlasts_the_connections) {
    SystemCalls calls;
    calls.shorten = [&](int /*descriptor*/, int /*timeout_ms*/) {
        if (calls.waits.size() == 3) {
            Telnet_stop();
        }
        return 0;
    };
    captureOutput([&] { calls.during(Telnet_server); });
    EXPECT_EQ(calls.waits, std::vector<int>(3, 1000));
    // Longer than a connection takes to see that the console is not ready any more.
    EXPECT_EQ(calls.pauses, std::vector<useconds_t>{1'200'000});
}

TEST_F(ListenerTest, returns_minus_1_without_a_socket) {
    int result = 0;
    const auto printed = captureOutput([&] {
        const NoMoreDescriptors none;
        result = Telnet_server();
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed.output, "");
    EXPECT_EQ(printed.errors, "socket: Too many open files\n");
}

TEST_F(ListenerTest, returns_minus_1_when_its_port_is_taken_and_leaves_its_socket_open) {
    const avoip::Descriptor other(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(bed::kConsolePort);
    ASSERT_EQ(::bind(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(other.get(), 1), 0);
    const std::size_t before = openDescriptors();
    int result = 0;
    const auto printed = captureOutput([&] { result = Telnet_server(); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed.output, "");
    EXPECT_EQ(printed.errors, "bind: Address already in use\n");
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_FALSE(bed::Segment::exists());
}

TEST_F(ListenerTest, returns_minus_1_without_a_segment_and_leaves_its_socket_open) {
    int result = 0;
    const auto printed = captureOutput([&] {
        const ForbiddenSegment forbidden;
        result = Telnet_server();
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed.output, kListening);
    EXPECT_EQ(printed.errors, "shmget errnor: Permission denied\n");
    EXPECT_EQ(listeningSockets().size(), 1U);

    // The console is not ready: a connection would end before its first line.
    Telnet_client(-1);
}

TEST_F(ListenerTest, serves_without_answers_when_the_segment_cannot_be_attached) {
    ASSERT_GE(makeUnattachableSegment(), 0);
    int result = -1;
    const auto printed = captureOutput([&] {
        RunningListener listener;
        bed::Console console;
        console.send("one!two!");
        awaitHandled(2);
        Telnet_stop();
        result = listener.result();
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(printed.errors, "");
    EXPECT_FALSE(bed::Segment::exists());
}

TEST_F(ListenerTest, returns_1_when_it_cannot_accept_and_the_connections_go_on) {
    int result = 0;
    int leftOpen = -1;
    std::string answer;
    const auto printed = captureOutput([&] {
        RunningListener listener;
        bed::Console console;
        bed::Segment segment;
        segment.ask(console, "before!");
        const avoip::Descriptor listening = failAccept();
        result = listener.result();
        leftOpen = ::fcntl(listening.get(), F_GETFD);
        answer = segment.ask(console, "after!");
    });
    EXPECT_EQ(result, 1);
    EXPECT_EQ(printed.output, kListening);
    EXPECT_EQ(printed.errors, "accept: Invalid argument\n");
    EXPECT_GE(leftOpen, 0);
    EXPECT_EQ(answer, "answer to after!");
    EXPECT_TRUE(bed::Segment::exists());
}

TEST_F(ListenerTest, returns_minus_1_without_a_thread_for_a_connection_and_the_others_go_on) {
    int result = 0;
    std::string answer;
    bool lateIsOpen = false;
    const auto printed = captureOutput([&] {
        RunningListener listener;
        bed::Console console;
        bed::Segment segment;
        segment.ask(console, "before!");
        const NoMoreThreads none;
        const bed::Console late;
        result = listener.result();
        answer = segment.ask(console, "after!");
        lateIsOpen = late.hasHeardNothing();
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed.output, std::string(kListening) + "Telnet: telnet_starting.......err!\n");
    EXPECT_EQ(printed.errors, "");
    EXPECT_EQ(answer, "answer to after!");
    EXPECT_TRUE(lateIsOpen);
    EXPECT_EQ(listeningSockets().size(), 1U);
    EXPECT_TRUE(bed::Segment::exists());
}

TEST_F(ListenerTest, that_has_ended_early_is_not_started_again) {
    makeReady();
    int second = -1;
    const auto printed = captureOutput([&] { second = Telnet_start(6888); });
    EXPECT_EQ(second, 0);
    EXPECT_EQ(printed.output, "");
    EXPECT_EQ(listeningSockets().size(), 0U);
}

}  // namespace
