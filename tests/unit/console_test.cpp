// The life of the console: its start, its stop, and what its connections see of both.
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <latch>
#include <string>

#include "bed/console.hpp"
#include "bed/segment.hpp"
#include "bed/wait.hpp"
#include "capture_output.hpp"
#include "console_fixture.hpp"
#include "scarcity.hpp"

namespace {

class ConsoleTest : public ConsoleFixture {};

constexpr const char* kListening = "Server: listening for client requests....\n";

TEST_F(ConsoleTest, can_be_stopped_without_having_been_started) {
    int result = -1;
    const auto printed = captureOutput([&] { result = Telnet_stop(); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(printed.output + printed.errors, "");
}

TEST_F(ConsoleTest, serves_until_it_is_stopped_and_can_be_started_again) {
    for (int round = 0; round < 2; ++round) {
        int started = -1;
        int stopped = -1;
        std::string answer;
        std::string heard;
        std::vector<int> listening;
        const auto printed = captureOutput([&] {
            started = Telnet_start(6888);
            bed::Console console;
            bed::Segment segment;
            answer = segment.ask(console, "hello!");
            listening = listeningSockets();
            stopped = Telnet_stop();
            heard = console.awaitClosed();
        });
        EXPECT_EQ(started, 0);
        EXPECT_EQ(answer, "answer to hello!");
        EXPECT_EQ(stopped, 0);
        EXPECT_EQ(heard, "");
        ASSERT_EQ(listening.size(), 1U);
        EXPECT_EQ(printed.output,
                  kListening + ("exit server_sockfd(" + std::to_string(listening[0]) + ")\n"));
        EXPECT_EQ(printed.errors, "");
        EXPECT_EQ(listeningSockets().size(), 0U);
        EXPECT_FALSE(bed::Segment::exists());
    }
}

TEST_F(ConsoleTest, is_not_started_twice) {
    int second = -1;
    std::vector<int> listening;
    const auto printed = captureOutput([&] {
        Telnet_start(6888);
        const bed::Console console;
        second = Telnet_start(6889);
        listening = listeningSockets();
        Telnet_stop();
    });
    EXPECT_EQ(second, 0);
    EXPECT_EQ(listening.size(), 1U);
    EXPECT_EQ(printed.output.find(kListening), 0U);
    EXPECT_EQ(printed.output.rfind(kListening), 0U);
}

TEST_F(ConsoleTest, listens_on_the_low_16_bits_of_its_port) {
    captureOutput([] {
        Telnet_start(0x10000 + 6889);
        const bed::Console console(6889);
        Telnet_stop();
    });
}

TEST_F(ConsoleTest, listens_on_all_addresses_and_lets_128_connections_wait) {
    sockaddr_in address{};
    socklen_t addressSize = sizeof address;
    tcp_info info{};
    socklen_t infoSize = sizeof info;
    captureOutput([&] {
        Telnet_start(6888);
        { const bed::Console console; }
        const int listening = listeningSockets().at(0);
        ::getsockname(listening, reinterpret_cast<sockaddr*>(&address), &addressSize);
        ::getsockopt(listening, IPPROTO_TCP, TCP_INFO, &info, &infoSize);
        Telnet_stop();
    });
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_EQ(ntohs(address.sin_port), 6888);
    // Where a socket listens, this field is its backlog.
    EXPECT_EQ(info.tcpi_sacked, 128U);
}

TEST_F(ConsoleTest, counts_as_started_when_there_was_no_thread_for_its_listener) {
    int first = 0;
    int second = -1;
    int stopped = -1;
    const auto printed = captureOutput([&] {
        {
            const NoMoreThreads none;
            first = Telnet_start(6888);
        }
        second = Telnet_start(6888);
        stopped = Telnet_stop();
    });
    EXPECT_EQ(first, -1);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(stopped, 0);
    EXPECT_EQ(printed.output, "Telnet: telnet_starting.......err!\n");
    EXPECT_EQ(listeningSockets().size(), 0U);
}

TEST_F(ConsoleTest, has_no_port_and_no_handler_after_it_is_initialised) {
    EXPECT_EQ(Telnet_init(), 0);
    std::string dirty(100, 'x');
    EXPECT_EQ(Telnet_runHandler(-1, "line!", dirty.data(), dirty.size()), 0);
    EXPECT_EQ(handledLines().size(), 0U);
}

TEST_F(ConsoleTest, waits_for_the_end_of_a_line_even_when_it_is_stopped) {
    std::string heard;
    bool openAfterStop = false;
    captureOutput([&] {
        Telnet_start(6888);
        bed::Console console;
        console.send("one!");
        const int served = awaitHandled(1).socket;
        console.send("ha");
        bed::awaitCondition("the half line to be read", [&] {
            int unread = -1;
            return ::ioctl(served, FIONREAD, &unread) == 0 && unread == 0;
        });
        Telnet_stop();
        openAfterStop = console.hasHeardNothing();
        console.send("lf!");
        heard = console.awaitClosed();
    });
    EXPECT_TRUE(openAfterStop);
    EXPECT_EQ(handledLines(), (std::vector<std::string>{"one!", "half!"}));
    EXPECT_EQ(heard, "");
}

std::latch* commandBegun = nullptr;
std::latch* commandMayEnd = nullptr;

int slowHandler(int /*socket*/, const char* /*line*/, char* answer) {
    answer[0] = 'x';
    commandBegun->count_down();
    commandMayEnd->wait();
    return 0;
}

TEST_F(ConsoleTest, lets_a_command_that_outlives_it_end_without_an_answer) {
    std::latch begun(1);
    std::latch mayEnd(1);
    commandBegun = &begun;
    commandMayEnd = &mayEnd;
    Telnet_setHandler(slowHandler);
    std::string heard;
    bool posted = true;
    captureOutput([&] {
        Telnet_start(6888);
        bed::Console console;
        const bed::Segment segment;
        console.send("slow!");
        begun.wait();
        Telnet_stop();
        mayEnd.count_down();
        heard = console.awaitClosed();
        posted = segment.hasAnswer();
    });
    EXPECT_EQ(heard, "");
    EXPECT_FALSE(posted);
}

}  // namespace
