// The daemon's way to the devices when the network is not as it should be, and when several use it.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <fstream>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "bed/device_reply.hpp"
#include "bed/ip_tool.hpp"
#include "bed/session.hpp"

namespace {

constexpr const char* kListening = "Server: listening for client requests....\n";
constexpr const char* kFailure = R"({"ack":{"cmd":"config get devices","status":"failure"}})";
constexpr const char* kNone =
    R"({"ack":{"cmd":"config get devices","status":"success"},"devicelist":[]})";
constexpr const char* kNoAddress =
    "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\nProtocol_client_getDevice err!\n";
constexpr const char* kDown = "pEthName(eth0.2) get ip err!\nProtocol_client_getDevice err!\n";
constexpr const char* kNotSent =
    "pEthName(eth0.2) sendPacket err!\nProtocol_client_getDevice err!\n";
constexpr const char* kUnreachable = "sendto(): Network is unreachable\n";
constexpr const char* kClosed = "sendto(): Bad file descriptor\n";

std::string requestFrom(std::string_view hostid) {
    return R"({"request":{"cmd":"config get device","hostid":")" + std::string(hostid) +
           R"(","device":[{"id":"All"}]}})";
}

/// "socket:[...]" of the UDP socket that is bound to the port replies come to; empty for none.
std::string replySocket() {
    std::ifstream table("/proc/thread-self/net/udp");
    std::string line;
    while (std::getline(table, line)) {
        unsigned int port = 0;
        unsigned int inode = 0;
        const int found = std::sscanf(
            line.c_str(), " %*u: %*x:%x %*x:%*x %*x %*x:%*x %*x:%*x %*x %*u %*u %u", &port, &inode);
        if (found == 2 && port == bed::kReplyPort) {
            return "socket:[" + std::to_string(inode) + "]";
        }
    }
    return {};
}

/// The daemon with its printed lines under watch, from the last one of its start on.
class Protocol : public testing::Test {
  protected:
    explicit Protocol(bed::Control control = bed::Control::kAddressed,
                      const std::string& mac = bed::kControlMac,
                      const bed::DaemonOptions& options = {})
        : namespaces_(control, mac), daemon_(options) {
        daemon_.awaitOutput(kListening);
        output_ = daemon_.output().all();
    }

    void expectPrinted(std::string_view output, std::string_view errors) {
        output_ += output;
        errors_ += errors;
        daemon_.output().awaitWhole(output_);
        daemon_.errors().awaitWhole(errors_);
    }

    /// Asks for the devices; the request must fail with these lines.
    void expectFailure(const std::string& output, std::string_view errors) {
        EXPECT_EQ(segment_.ask(console_, "config get devices!"), kFailure);
        expectPrinted("pBuffData config get devices!\n" + output, errors);
    }

    /// Asks for the devices; the request must arrive, and nobody answers it.
    void expectSuccess(bed::Device& device, std::string_view hostid = "001122aabbcc") {
        EXPECT_EQ(segment_.ask(console_, "config get devices!"), kNone);
        EXPECT_EQ(device.receive().text, requestFrom(hostid));
        expectPrinted("pBuffData config get devices!\n", "");
    }

    /// The answer to a listing that finds these replies in its socket when it asks: so none of
    /// them comes after the silence that ends it, however slow the machine is.
    std::string answerAmong(bed::Device& device, const std::vector<std::string>& replies) {
        segment_.clear();
        for (const std::string& reply : replies) {
            device.reply(reply);
        }
        console_.send("config get devices!");
        device.receive();
        return segment_.awaitAnswer();
    }

    /// The number under which the daemon has the socket; -1 for none.
    int numberOf(const std::string& socket) const {
        for (const auto& [number, target] : daemon_.descriptors()) {
            if (target == socket) {
                return number;
            }
        }
        return -1;
    }

    bed::Namespaces namespaces_;
    bed::Daemon daemon_;
    bed::Console console_;
    bed::Segment segment_;
    std::string output_;
    std::string errors_;
};

TEST_F(Protocol, requests_come_from_the_port_that_replies_go_to) {
    bed::Device device(namespaces_);
    console_.send("config get devices!");
    const bed::Datagram heard = device.receive();
    EXPECT_EQ(heard.text, requestFrom("001122aabbcc"));
    EXPECT_EQ(heard.address, bed::kControlAddress);
    EXPECT_EQ(heard.port, 8003);
}

class OtherMac : public Protocol {
  protected:
    OtherMac() : Protocol(bed::Control::kAddressed, "02:aB:0C:de:F0:99") {}
};

TEST_F(OtherMac, the_host_identity_is_the_mac_address_at_the_start) {
    bed::Device device(namespaces_);
    expectSuccess(device, "02ab0cdef099");
    bed::ip("link set eth0.2 address 02:00:00:00:00:01");
    expectSuccess(device, "02ab0cdef099");
    device.reply(bed::deviceReply("x", "success", "020000000001"));
    expectSuccess(device, "02ab0cdef099");
}

TEST_F(Protocol, without_an_address_requests_fail_until_there_is_one) {
    bed::Device device(namespaces_);
    namespaces_.removeAddress();
    expectFailure(kNoAddress, "");
    expectFailure(kNoAddress, "");
    namespaces_.addAddress();
    expectSuccess(device);
    EXPECT_TRUE(device.hasHeardNothing());
}

TEST_F(Protocol, each_failed_address_query_costs_a_descriptor) {
    namespaces_.removeAddress();
    expectFailure(kNoAddress, "");
    const std::size_t before = daemon_.descriptors().size();
    expectFailure(kNoAddress, "");
    expectFailure(kNoAddress, "");
    EXPECT_EQ(daemon_.descriptors().size(), before + 2);
}

TEST_F(Protocol, an_interface_that_goes_away_has_no_address) {
    bed::ip("link del eth0.2");
    expectFailure(kNoAddress, "");
}

class InterfaceAbsentAtStart : public Protocol {
  protected:
    InterfaceAbsentAtStart() : Protocol(bed::Control::kAbsent) {}
};

TEST_F(InterfaceAbsentAtStart, requests_fail_until_it_comes_and_carry_no_host_identity_then) {
    expectFailure(kNoAddress, "");
    namespaces_.addControlInterface();
    bed::Device device(namespaces_);
    expectSuccess(device, "");
    EXPECT_NE(answerAmong(device, {bed::deviceReply("x", "success", "")}).find(R"("hostid":"x")"),
              std::string::npos);
}

TEST_F(Protocol, a_send_that_fails_closes_the_socket_for_good) {
    bed::Device device(namespaces_);
    ASSERT_GE(numberOf(replySocket()), 0);
    namespaces_.removeMulticastRoute();
    expectFailure(kNotSent, kUnreachable);
    EXPECT_EQ(replySocket(), "");
    namespaces_.addMulticastRoute();
    expectFailure(kNotSent, kClosed);
    expectFailure(kNotSent, kClosed);
    EXPECT_TRUE(device.hasHeardNothing());
}

TEST_F(Protocol, while_the_interface_is_down_requests_fail_and_cost_nothing) {
    bed::Device device(namespaces_);
    namespaces_.linkDown();
    expectFailure(kDown, "");
    const std::size_t before = daemon_.descriptors().size();
    expectFailure(kDown, "");
    EXPECT_EQ(daemon_.descriptors().size(), before);
    namespaces_.linkUp();
    expectSuccess(device);
    EXPECT_TRUE(device.hasHeardNothing());
}

TEST_F(Protocol, one_flap_with_a_command_before_the_route_is_back_closes_the_socket_for_good) {
    // The kernel takes the route to the group away with the link, and does not bring it back.
    bed::ip("link set eth0.2 down");
    bed::ip("link set eth0.2 up");
    expectFailure(kNotSent, kUnreachable);
    namespaces_.addMulticastRoute();
    expectFailure(kNotSent, kClosed);
}

TEST_F(Protocol, a_doubled_reply_shifts_every_read_until_a_listing_has_emptied_the_socket) {
    bed::Device device(namespaces_);
    const auto reply = [](const std::string& decoder) {
        const std::string route =
            R"("rxsource":{"rxid":")" + decoder + R"(","txid":"of )" + decoder + "\"}";
        return bed::replyText("matrix get", "success", "001122aabbcc", decoder, route);
    };
    const auto routeOf = [&](const std::string& decoder, int replies) {
        segment_.clear();
        console_.send("matrix get " + decoder + "!");
        device.receive();
        for (int i = 0; i < replies; ++i) {
            device.reply(reply(decoder));
        }
        return segment_.awaitAnswer();
    };
    const auto answer = [](const std::string& asked, const std::string& encoder) {
        return R"({"ack":{"cmd":"matrix get","status":"success"},"rxsource":[{"rxid":")" + asked +
               R"(","txid":")" + encoder + "\"}]}";
    };
    EXPECT_EQ(routeOf("rx01", 2), answer("rx01", "of rx01"));
    EXPECT_EQ(routeOf("rx02", 1), answer("rx02", "of rx01")) << "with success";
    EXPECT_EQ(routeOf("rx03", 1), answer("rx03", "of rx02"));
    EXPECT_EQ(segment_.ask(console_, "config get devices!"), kNone);
    device.receive();
    EXPECT_EQ(routeOf("rx04", 1), answer("rx04", "of rx04"));
}

TEST_F(Protocol, after_a_failed_send_the_missing_address_is_still_noticed_first) {
    namespaces_.removeMulticastRoute();
    expectFailure(kNotSent, kUnreachable);
    namespaces_.removeAddress();
    expectFailure(kNoAddress, "");
}

TEST_F(Protocol, a_connection_that_gets_the_sockets_number_is_left_alone) {
    const int number = numberOf(replySocket());
    ASSERT_GE(number, 0);
    namespaces_.removeMulticastRoute();
    expectFailure(kNotSent, kUnreachable);
    namespaces_.addMulticastRoute();

    std::list<bed::Console> others;
    while (!daemon_.descriptors().contains(number)) {
        const std::size_t before = daemon_.descriptors().size();
        others.emplace_back();
        bed::awaitCondition("the daemon to take the connection",
                            [&] { return daemon_.descriptors().size() > before; });
    }
    const std::string owner = daemon_.descriptors().at(number);
    for (int i = 0; i < 3; ++i) {
        expectFailure(kNotSent, kClosed);
    }
    EXPECT_EQ(daemon_.descriptors().at(number), owner) << "it was closed or given away";
    EXPECT_TRUE(others.back().hasHeardNothing()) << "it was written into";
    EXPECT_EQ(segment_.ask(others.back(), "hello!"),
              R"({"ack":{"cmd":"hello!","status":"failure"}})");
    expectPrinted("pBuffData hello!\n", "");
    EXPECT_EQ(segment_.ask(others.back(), "config get devices!"), kFailure);
    EXPECT_TRUE(others.back().hasHeardNothing());
}

bed::DaemonOptions aboveAThousandDescriptors() {
    bed::DaemonOptions options;
    options.firstDescriptor = 1100;
    return options;
}

class HighDescriptors : public Protocol {
  protected:
    HighDescriptors()
        : Protocol(bed::Control::kAddressed, bed::kControlMac, aboveAThousandDescriptors()) {}
};

TEST_F(HighDescriptors, replies_are_awaited_on_any_descriptor_number) {
    bed::Device device(namespaces_);
    EXPECT_GE(numberOf(replySocket()), 1100);
    EXPECT_NE(answerAmong(device, {bed::deviceReply("x")}).find(R"("hostid":"x")"),
              std::string::npos);
    expectPrinted("pBuffData config get devices!\n", "");
}

TEST_F(Protocol, a_short_reply_keeps_the_tail_of_a_longer_one_before_it) {
    bed::Device device(namespaces_);
    // The second one is the first part of a reply; what the first one left behind completes it.
    const std::string whole = bed::deviceReply("x");
    const std::string begin = whole.substr(0, whole.size() - 30);
    const std::string longer = std::string(begin.size(), '-') + whole.substr(begin.size());
    EXPECT_NE(answerAmong(device, {longer, begin}).find(R"("hostid":"x")"), std::string::npos);
    expectPrinted("pBuffData config get devices!\ncJSON_Parse err!\n", "");
}

TEST_F(Protocol, a_datagram_is_read_to_1500_bytes) {
    bed::Device device(namespaces_);
    const std::string fits =
        bed::deviceReply("fits") + std::string(1500 - bed::deviceReply("fits").size(), ' ');
    const std::string member =
        bed::deviceMember("cut") + R"(,"fill":")" + std::string(1500, 'f') + '"';
    const std::string answer = answerAmong(
        device, {bed::replyText(bed::kDiscoveryCmd, "success", "001122aabbcc", "x", member), fits,
                 bed::deviceReply("long") + std::string(3000, ' ')});
    EXPECT_NE(answer.find(R"("hostid":"fits")"), std::string::npos);
    EXPECT_NE(answer.find(R"("hostid":"long")"), std::string::npos);
    EXPECT_EQ(answer.find(R"("hostid":"cut")"), std::string::npos);
    expectPrinted("pBuffData config get devices!\ncJSON_Parse err!\n", "");
}

TEST_F(Protocol, two_commands_at_once_share_the_replies_and_neither_hangs) {
    bed::Device device(namespaces_);
    bed::Console second;
    console_.send("config get encoders!");
    second.send("config get decoders!");
    device.receive();
    device.receive();
    for (int i = 0; i < 20; ++i) {
        device.reply(bed::deviceReply("d" + std::to_string(i)));
    }
    // A connection runs one command after the other, so these come when those have ended.
    console_.send("first done!");
    daemon_.awaitOutput("pBuffData first done!\n");
    second.send("second done!");
    daemon_.awaitOutput("pBuffData second done!\n");
    EXPECT_EQ(daemon_.errors().all(), "");
}

/// The port that replies come to, taken before the daemon starts.
class BusyPort : public testing::Test {
  protected:
    BusyPort() : taken_(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(bed::kReplyPort);
        EXPECT_EQ(::bind(taken_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    bed::Namespaces namespaces_;
    avoip::Descriptor taken_;
};

TEST_F(BusyPort, the_daemon_lives_on_without_a_client_and_requests_fail) {
    bed::Daemon daemon;
    bed::Console console;
    bed::Segment segment;
    EXPECT_EQ(segment.ask(console, "config get devices!"), kFailure);
    EXPECT_EQ(segment.ask(console, "config get devices!"), kFailure);
    daemon.errors().awaitWhole("bind(): Address already in use\n");
    daemon.awaitOutput("pEthName(eth0.2) get socket err!\n");
    daemon.awaitOutput(
        "Server: listening for client requests....\n"
        "pBuffData config get devices!\nProtocol_client_getDevice err!\n"
        "pBuffData config get devices!\nProtocol_client_getDevice err!\n");
}

}  // namespace
