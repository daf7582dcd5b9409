// What a failed send leaves behind: a client without a socket, and numbers that belong to others.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "capture_output.hpp"
#include "client_bed.hpp"
#include "descriptors.hpp"
#include "lib/base/descriptor.hpp"
#include "protocol/discovery.hpp"
#include "protocol/exchange.hpp"

namespace {

constexpr const char* kClosedOutput = "pEthName(eth0.2) sendPacket err!\n";
constexpr const char* kClosedErrors = "sendto(): Bad file descriptor\n";

/// What was opened, under a number that is free.
avoip::Descriptor underNumber(int number, avoip::Descriptor opened) {
    if (opened.get() == number) {
        return opened;
    }
    EXPECT_FALSE(isOpen(number));
    return avoip::Descriptor(::dup2(opened.get(), number));
}

class FailedSend : public testing::Test {
  protected:
    Outcome send() {
        return runRequest([&] { return Protocol_client_oneWay(bed_.client, request_); });
    }

    /// Fails one send, and mends the network after it.
    void failOnce() {
        bed_.namespaces.removeMulticastRoute();
        const Outcome outcome = send();
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(outcome.output, kClosedOutput);
        EXPECT_EQ(outcome.errors, "sendto(): Network is unreachable\n");
        bed_.namespaces.addMulticastRoute();
    }

    /// Runs every kind of request; each must fail at its send.
    void expectEveryRequestFails() {
        const auto expectFailure = [](const Outcome& outcome) {
            EXPECT_EQ(outcome.result, -1);
            EXPECT_EQ(outcome.output, kClosedOutput);
            EXPECT_EQ(outcome.errors, kClosedErrors);
        };
        expectFailure(send());
        expectFailure(runRequest([&] {
            const SingleReply reply{.timeout_s = 1, .read = [](const JsonTree&) { return 0; }};
            return Protocol_client_singleReply(bed_.client, request_, reply);
        }));
        std::array<DeviceRecord, 1> records{};
        std::uint32_t count = 7;
        expectFailure(runRequest([&] {
            return Protocol_client_getDevice(bed_.client, devices_.data(), 1, 100, records, &count);
        }));
        EXPECT_EQ(count, 7U);
    }

    const std::array<DeviceId, 1> devices_{deviceId("All")};
    const Request request_{.cmd = "device reboot", .devices = devices_};
    ClientBed bed_;
};

TEST_F(FailedSend, closes_the_socket) {
    const int socket = bed_.client->socket.peek();
    failOnce();
    EXPECT_FALSE(isOpen(socket));
    EXPECT_EQ(bed_.client->socket.peek(), -1);
}

TEST_F(FailedSend, makes_every_later_request_fail_at_its_send) {
    failOnce();
    expectEveryRequestFails();
    expectEveryRequestFails();
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(FailedSend, leaves_the_port_to_whoever_wants_it) {
    failOnce();
    const avoip::Descriptor next(Protocol_client_openSocket(bed_.client));
    EXPECT_GT(next.get(), 0);
    expectEveryRequestFails();
}

TEST_F(FailedSend, a_later_request_still_reads_the_interface_first) {
    failOnce();
    bed_.namespaces.removeAddress();
    const Outcome outcome = send();
    EXPECT_EQ(outcome.output, "SIOCGIFADDR Failed!/npEthName(eth0.2) get ip err!\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(FailedSend, the_send_function_itself_behaves_the_same_whatever_socket_it_is_given) {
    const avoip::Descriptor other(::socket(AF_INET, SOCK_DGRAM, 0));
    bed_.namespaces.removeMulticastRoute();
    std::int32_t result = 0;
    const CapturedOutput captured =
        captureOutput([&] { result = Protocol_client_send(bed_.client, other.get(), "hello", 5); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured.output, "");
    EXPECT_EQ(captured.errors, "sendto(): Network is unreachable\n");
    EXPECT_TRUE(isOpen(other.get())) << "only the client's own socket is closed";
    EXPECT_EQ(bed_.client->socket.peek(), -1);
}

TEST_F(FailedSend, the_send_function_sends_as_many_bytes_as_it_is_told) {
    EXPECT_EQ(Protocol_client_send(bed_.client, -1, "hello\0world", 11), 0);
    EXPECT_EQ(bed_.device.receive().text, std::string("hello\0world", 11));
    EXPECT_EQ(Protocol_client_send(bed_.client, -1, "", 0), 0);
    EXPECT_EQ(bed_.device.receive().text, "");
}

TEST_F(FailedSend, a_connection_that_gets_the_number_is_neither_written_into_nor_closed) {
    const int number = bed_.client->socket.peek();
    failOnce();
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()), 0);
    const avoip::Descriptor far(ends[1]);
    const avoip::Descriptor near = underNumber(number, avoip::Descriptor(ends[0]));
    expectEveryRequestFails();
    EXPECT_TRUE(isOpen(number));
    char byte = 0;
    EXPECT_EQ(::recv(far.get(), &byte, 1, MSG_DONTWAIT), -1) << "something was written";
    EXPECT_EQ(::send(far.get(), "x", 1, 0), 1) << "the other end is closed";
}

TEST_F(FailedSend, a_socket_that_could_send_under_the_number_stays_silent) {
    const int number = bed_.client->socket.peek();
    failOnce();
    const avoip::Descriptor other =
        underNumber(number, avoip::Descriptor(Protocol_client_openSocket(bed_.client)));
    expectEveryRequestFails();
    EXPECT_TRUE(isOpen(number));
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(FailedSend, a_file_that_gets_the_number_is_neither_written_into_nor_closed) {
    const int number = bed_.client->socket.peek();
    failOnce();
    const avoip::Descriptor file =
        underNumber(number, avoip::Descriptor(::memfd_create("file", 0)));
    expectEveryRequestFails();
    EXPECT_TRUE(isOpen(number));
    struct stat status {};
    EXPECT_EQ(::fstat(number, &status), 0);
    EXPECT_EQ(status.st_size, 0);
}

TEST_F(FailedSend, while_many_requests_run_closes_nothing_but_the_socket) {
    constexpr int kThreads = 4;
    constexpr int kDescriptors = 200;
    std::vector<std::string> errors;
    const CapturedOutput captured = captureOutput([&] {
        std::vector<std::jthread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    Protocol_client_oneWay(bed_.client, request_);
                }
            });
        }
        bed_.device.receive();
        bed_.namespaces.removeMulticastRoute();
        // Descriptors come and go meanwhile; each must live until it is closed here.
        for (int i = 0; i < kDescriptors; ++i) {
            const int number = ::memfd_create("file", 0);
            std::this_thread::yield();
            struct stat status {};
            if (::fstat(number, &status) != 0 || status.st_size != 0) {
                errors.push_back("descriptor " + std::to_string(number) + " was touched");
            }
            if (::close(number) != 0) {
                errors.push_back("descriptor " + std::to_string(number) + " was closed");
            }
        }
    });
    EXPECT_EQ(errors, std::vector<std::string>{});
    EXPECT_NE(captured.errors.find("sendto(): Network is unreachable\n"), std::string::npos);
    bed_.namespaces.addMulticastRoute();
    expectEveryRequestFails();
}

}  // namespace
