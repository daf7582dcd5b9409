// Many connections whose commands run at the same time. What they share is what ThreadSanitizer
// looks at here: the client's address and socket, the answer segment, standard output.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bed/session.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;

constexpr int kConnections = 8;
/// On each connection. A device's socket holds the requests of all, however late it reads them.
constexpr int kLines = 25;

class Simultaneous : public testing::Test {
  protected:
    Simultaneous() {
        std::generate_n(std::back_inserter(consoles), kConnections,
                        [] { return std::make_unique<bed::Console>(); });
    }

    /// Sends kLines lines on each connection, and then the line that ends it, all at once.
    std::vector<std::jthread> sendAll(const std::function<std::string(int, int)>& line) {
        std::vector<std::jthread> senders;
        for (int i = 0; i < kConnections; ++i) {
            senders.emplace_back([this, i, line] {
                for (int j = 0; j < kLines; ++j) {
                    consoles[static_cast<std::size_t>(i)]->send(line(i, j));
                }
                consoles[static_cast<std::size_t>(i)]->send("exit!");
            });
        }
        return senders;
    }

    /// Waits until every line of every connection has been run.
    void awaitAllRun() {
        for (const auto& each : consoles) {
            each->awaitClosed();
        }
    }

    bed::Namespaces namespaces;
    bed::Device device{namespaces};
    bed::Daemon daemon;
    bed::Segment segment;
    std::vector<std::unique_ptr<bed::Console>> consoles;
};

std::string idOf(int connection, int line) {
    return "c" + std::to_string(connection) + "l" + std::to_string(line);
}

TEST_F(Simultaneous, requests_all_leave_once) {
    std::multiset<std::string> expected;
    for (int i = 0; i < kConnections; ++i) {
        for (int j = 0; j < kLines; ++j) {
            expected.insert(
                R"({"request":{"cmd":"device showme","hostid":"001122aabbcc","device":[{"id":")" +
                idOf(i, j) + R"("}]}})");
        }
    }
    const auto senders = sendAll([](int i, int j) { return "device showme " + idOf(i, j) + "!"; });
    std::multiset<std::string> heard;
    while (heard.size() < expected.size()) {
        heard.insert(device.receive().text);
    }
    EXPECT_EQ(heard, expected);
    awaitAllRun();
    EXPECT_TRUE(device.hasHeardNothing());
}

TEST_F(Simultaneous, replies_are_taken_by_whoever_waits) {
    const auto senders = sendAll([](int, int) { return std::string("matrix get rx01!"); });
    for (int i = 0; i < kConnections * kLines; ++i) {
        device.receive();
        device.reply(bed::replyText("matrix get", "success", "001122aabbcc", "rx01",
                                    R"("rxsource":{"rxid":"rx01","txid":"tx01"})"));
    }
    awaitAllRun();
    EXPECT_EQ(segment.awaitAnswer(), R"({"ack":{"cmd":"matrix get","status":"success"},)"
                                     R"("rxsource":[{"rxid":"rx01","txid":"tx01"}]})");
}

TEST_F(Simultaneous, requests_that_cannot_be_sent_all_fail_and_the_daemon_lives) {
    namespaces.removeMulticastRoute();
    const auto senders = sendAll([](int i, int j) { return "device showme " + idOf(i, j) + "!"; });
    awaitAllRun();
    bed::awaitCondition("a report of each failed send", [this] {
        return std::ranges::count(daemon.errors().all(), '\n') == kConnections * kLines;
    });
    bed::Console console;
    EXPECT_EQ(segment.ask(console, "device showme x!"), failure("device showme"));
    EXPECT_TRUE(daemon.isRunning());
}

}  // namespace
