// The client's life: creation, its socket, the end.
#include "protocol/client.hpp"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "bed/ip_tool.hpp"
#include "capture_output.hpp"
#include "client_bed.hpp"
#include "descriptors.hpp"
#include "lib/base/descriptor.hpp"
#include "refusals.hpp"
#include "system_calls.hpp"

namespace {

// Where no descriptor can be had, only locals are touched: the sanitizer looks at the class of an
// object through a pipe.

class CreateClient : public testing::Test {
  protected:
    ~CreateClient() override {
        if (client_ != nullptr) {
            Protocol_client_destroy(client_);
        }
    }

    CapturedOutput create(const char* interface = "eth0.2", const char* identity = "Control",
                          const char* host = kHostIdentity, const char* group = bed::kGroup,
                          std::uint32_t port = bed::kRequestPort) {
        return captureOutput([&] {
            result_ = Protocol_client_create(&client_, interface, identity, host, group, port);
        });
    }

    void expectFailure(const CapturedOutput& captured, const std::string& output,
                       const std::string& errors) const {
        EXPECT_EQ(result_, -1);
        EXPECT_EQ(captured.output, output);
        EXPECT_EQ(captured.errors, errors);
        EXPECT_EQ(client_, nullptr) << "the caller's client is written on success only";
    }

    const bed::Namespaces namespaces_{bed::Control::kAbsent};
    ProtocolClient* client_ = nullptr;
    std::int32_t result_ = 1;
};

/// Something else under a number that is free.
avoip::Descriptor takeNumber(int number) {
    avoip::Descriptor taken(::fcntl(STDOUT_FILENO, F_DUPFD, number));
    EXPECT_EQ(taken.get(), number);
    return taken;
}

std::uint16_t boundPort(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    return ntohs(address.sin_port);
}

int socketOption(int socket, int level, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(::getsockopt(socket, level, option, &value, &size), 0);
    return value;
}

/// Takes the port that replies come to, and does not share it.
avoip::Descriptor busyReplyPort() {
    avoip::Descriptor other(::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(bed::kReplyPort);
    EXPECT_EQ(::bind(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return other;
}

TEST_F(CreateClient, what_is_given_is_stored_and_the_state_is_ready) {
    const CapturedOutput captured = create();
    ASSERT_EQ(result_, 0);
    EXPECT_EQ(captured.output + captured.errors, "");
    EXPECT_EQ(client_->state, 2);
    EXPECT_EQ(client_->name.view(), "Control");
    EXPECT_EQ(client_->interfaceName.view(), "eth0.2");
    EXPECT_EQ(client_->hostIdentity.view(), kHostIdentity);
    EXPECT_EQ(client_->group.view(), bed::kGroup);
    EXPECT_EQ(client_->port, 8002U);
    EXPECT_GT(client_->socket.peek(), 0);
}

TEST_F(CreateClient, long_texts_are_cut_to_their_fields) {
    const std::string longText(200, 'x');
    create(longText.c_str(), longText.c_str(), longText.c_str(), longText.c_str());
    ASSERT_EQ(result_, 0);
    EXPECT_EQ(client_->name.view(), std::string(127, 'x'));
    EXPECT_EQ(client_->interfaceName.view(), std::string(31, 'x'));
    EXPECT_EQ(client_->hostIdentity.view(), std::string(31, 'x'));
    EXPECT_EQ(client_->group.view(), std::string(31, 'x'));
}

TEST_F(CreateClient, empty_texts_are_accepted) {
    create("", "", "", "");
    EXPECT_EQ(result_, 0);
}

TEST_F(CreateClient, each_text_must_be_given) {
    expectFailure(create(nullptr), "param err!\n", "");
    expectFailure(create("eth0.2", nullptr), "param err!\n", "");
    expectFailure(create("eth0.2", "Control", nullptr), "param err!\n", "");
    expectFailure(create("eth0.2", "Control", kHostIdentity, nullptr), "param err!\n", "");
}

TEST_F(CreateClient, the_socket_is_bound_to_the_port_above_on_all_addresses) {
    create();
    const int socket = client_->socket.peek();
    EXPECT_EQ(boundPort(socket), 8003);
    EXPECT_EQ(socketOption(socket, SOL_SOCKET, SO_TYPE), SOCK_DGRAM);
    EXPECT_EQ(socketOption(socket, SOL_SOCKET, SO_REUSEADDR), 1);
}

TEST_F(CreateClient, the_socket_asks_for_a_receive_queue_of_4_mib) {
    SystemCalls calls;
    calls.during([this] { return create(); });
    const SocketOption reuse{SOL_SOCKET, SO_REUSEADDR, 1};
    const SocketOption forced{SOL_SOCKET, SO_RCVBUFFORCE, 4'194'304};
    EXPECT_EQ(calls.options, (std::vector{reuse, forced}));
    Protocol_client_destroy(std::exchange(client_, nullptr));

    // Who may not go beyond the system's limit asks for as much as that allows.
    calls.options.clear();
    calls.refusedOption = SO_RCVBUFFORCE;
    calls.during([this] { return create(); });
    EXPECT_EQ(calls.options,
              (std::vector{reuse, forced, SocketOption{SOL_SOCKET, SO_RCVBUF, 4'194'304}}));
    EXPECT_EQ(result_, 0);
}

TEST_F(CreateClient, only_the_low_16_bits_of_the_port_count) {
    create("eth0.2", "Control", kHostIdentity, bed::kGroup, 0xABCD0000U + 8002U);
    ASSERT_EQ(result_, 0);
    EXPECT_EQ(boundPort(client_->socket.peek()), 8003);
}

TEST_F(CreateClient, the_port_above_the_highest_one_is_0) {
    for (const std::uint32_t port : {0xFFFFU, 0xFFFFFFFFU}) {
        create("eth0.2", "Control", kHostIdentity, bed::kGroup, port);
        ASSERT_EQ(result_, 0);
        EXPECT_GT(boundPort(client_->socket.peek()), 0) << "the system chooses";
        Protocol_client_destroy(std::exchange(client_, nullptr));
    }
}

TEST_F(CreateClient, the_interface_need_not_exist) {
    create("nowhere");
    EXPECT_EQ(result_, 0);
}

TEST_F(CreateClient, a_busy_port_is_reported_and_its_socket_closed) {
    const avoip::Descriptor other = busyReplyPort();
    const int before = openDescriptors();
    expectFailure(create(), "pEthName(eth0.2) get socket err!\n",
                  "bind(): Address already in use\n");
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(CreateClient, without_a_descriptor_it_fails) {
    ProtocolClient* client = nullptr;
    std::int32_t result = 0;
    const CapturedOutput captured = captureOutput([&] {
        const NoDescriptors none;
        result = Protocol_client_create(&client, "eth0.2", "Control", kHostIdentity, bed::kGroup,
                                        bed::kRequestPort);
    });
    client_ = client;
    result_ = result;
    expectFailure(captured, "pEthName(eth0.2) get socket err!\n",
                  "socket(): Too many open files\n");
}

TEST_F(CreateClient, a_socket_option_that_is_refused_is_reported_and_the_socket_closed) {
    constexpr int kLeftOpen = 100;
    int result = 0;
    const CapturedOutput captured = captureOutput([&] {
        result = resultWithRefusal(SYS_setsockopt, ~0U, SOL_SOCKET, [&] {
            const int before = openDescriptors();
            const int created = Protocol_client_create(&client_, "eth0.2", "Control", kHostIdentity,
                                                       bed::kGroup, bed::kRequestPort);
            return openDescriptors() == before ? created : kLeftOpen;
        });
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(captured.output, "pEthName(eth0.2) get socket err!\n");
    EXPECT_EQ(captured.errors, "Setting SO_REUSEADDR error: Permission denied\n");
}

TEST_F(CreateClient, descriptor_0_counts_as_a_failure_and_stays_open) {
    const avoip::Descriptor input(::dup(STDIN_FILENO));
    std::uint16_t leftOpen = 0;
    const CapturedOutput captured = captureOutput([&] {
        ::close(STDIN_FILENO);
        result_ = Protocol_client_create(&client_, "eth0.2", "Control", kHostIdentity, bed::kGroup,
                                         bed::kRequestPort);
        leftOpen = boundPort(STDIN_FILENO);
        ::dup2(input.get(), STDIN_FILENO);
    });
    expectFailure(captured, "pEthName(eth0.2) get socket err!\n", "");
    EXPECT_EQ(leftOpen, 8003);
}

TEST_F(CreateClient, opening_a_socket_leaves_the_clients_own_alone) {
    create();
    const int own = client_->socket.peek();
    client_->port = 9002;
    const avoip::Descriptor second(Protocol_client_openSocket(client_));
    EXPECT_GT(second.get(), 0);
    EXPECT_EQ(boundPort(second.get()), 9003);
    EXPECT_EQ(client_->socket.peek(), own);
}

TEST_F(CreateClient, opening_a_socket_tells_a_busy_port_from_other_failures) {
    create("eth0.2", "Control", kHostIdentity, bed::kGroup, 9002);
    client_->port = bed::kRequestPort;
    const avoip::Descriptor other = busyReplyPort();
    CapturedOutput captured = captureOutput([&] { result_ = Protocol_client_openSocket(client_); });
    EXPECT_EQ(result_, -2);
    EXPECT_EQ(captured.output, "");
    EXPECT_EQ(captured.errors, "bind(): Address already in use\n");
    captured = captureOutput([client = client_, &result = result_] {
        const NoDescriptors none;
        result = Protocol_client_openSocket(client);
    });
    EXPECT_EQ(result_, -1);
    EXPECT_EQ(captured.errors, "socket(): Too many open files\n");
}

TEST_F(CreateClient, closing_closes_the_socket_once) {
    create();
    const int socket = client_->socket.peek();
    EXPECT_EQ(Protocol_client_closeSocket(client_), 0);
    EXPECT_FALSE(isOpen(socket));
    const avoip::Descriptor reused = takeNumber(socket);
    EXPECT_EQ(Protocol_client_closeSocket(client_), 0);
    EXPECT_TRUE(isOpen(reused.get())) << "the number belongs to somebody else now";
}

TEST_F(CreateClient, destroying_closes_the_socket) {
    create();
    const int socket = client_->socket.peek();
    EXPECT_EQ(Protocol_client_destroy(std::exchange(client_, nullptr)), 0);
    EXPECT_FALSE(isOpen(socket));
}

TEST_F(CreateClient, a_client_whose_socket_is_closed_can_be_destroyed) {
    create();
    const int socket = client_->socket.peek();
    Protocol_client_closeSocket(client_);
    const avoip::Descriptor reused = takeNumber(socket);
    EXPECT_EQ(Protocol_client_destroy(std::exchange(client_, nullptr)), 0);
    EXPECT_TRUE(isOpen(reused.get()));
}

class IfAddr : public testing::Test {
  protected:
    CapturedOutput query(const char* interface) {
        return captureOutput(
            [&] { result_ = Protocol_client_getIfAddr(interface, address_.data()); });
    }

    const bed::Namespaces namespaces_;
    std::array<char, 32> address_{"unset"};
    std::int32_t result_ = 1;
};

TEST_F(IfAddr, the_address_is_written_in_dotted_form) {
    const CapturedOutput captured = query("eth0.2");
    EXPECT_EQ(result_, 0);
    EXPECT_STREQ(address_.data(), "10.77.0.1");
    EXPECT_EQ(captured.output + captured.errors, "");
}

TEST_F(IfAddr, the_longest_address_fits) {
    bed::ip("addr add 210.110.101.234/32 dev lo");
    bed::ip("addr del 127.0.0.1/8 dev lo");
    query("lo");
    EXPECT_STREQ(address_.data(), "210.110.101.234");
}

TEST_F(IfAddr, fifteen_characters_of_the_name_count) {
    bed::ip(
        "link add abcdefghijklmno type veth peer name other\n"
        "addr add 10.1.2.3/24 dev abcdefghijklmno\n"
        "link set abcdefghijklmno up");
    query("abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(result_, 0);
    EXPECT_STREQ(address_.data(), "10.1.2.3");
}

TEST_F(IfAddr, an_interface_that_is_down_keeps_its_address) {
    bed::ip("link set eth0.2 down");
    const CapturedOutput captured = query("eth0.2");
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(captured.output, "");
    EXPECT_STREQ(address_.data(), "10.77.0.1");
}

TEST_F(IfAddr, only_an_interface_that_stands_and_is_set_down_is_down) {
    const int before = openDescriptors();
    EXPECT_FALSE(Protocol_client_isDown("eth0.2"));
    EXPECT_FALSE(Protocol_client_isDown("nowhere"));
    bed::ip("link set eth0.2 down");
    EXPECT_TRUE(Protocol_client_isDown("eth0.2"));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(IfAddr, a_missing_address_is_printed_without_a_line_end) {
    bed::ip("addr del 10.77.0.1/16 dev eth0.2");
    for (const char* interface : {"eth0.2", "nowhere", ""}) {
        const CapturedOutput captured = query(interface);
        EXPECT_EQ(result_, -1);
        EXPECT_EQ(captured.output, "SIOCGIFADDR Failed!/n");
        EXPECT_EQ(captured.errors, "");
        EXPECT_STREQ(address_.data(), "unset");
    }
}

TEST_F(IfAddr, without_a_descriptor_it_prints_without_a_line_end) {
    const CapturedOutput captured = captureOutput([out = address_.data(), &result = result_] {
        const NoDescriptors none;
        result = Protocol_client_getIfAddr("eth0.2", out);
    });
    EXPECT_EQ(result_, -1);
    EXPECT_EQ(captured.output, "socket create failed!/n");
    EXPECT_STREQ(address_.data(), "unset");
}

TEST_F(IfAddr, only_a_failed_query_leaves_its_descriptor_open) {
    int before = openDescriptors();
    query("eth0.2");
    EXPECT_EQ(openDescriptors(), before);
    query("nowhere");
    query("nowhere");
    EXPECT_EQ(openDescriptors(), before + 2);
}

}  // namespace
