// Connect, send and receive with their time-outs, against sockets in a network of the test's own.
#include "firmware/tcp.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/upload_port.hpp"
#include "call_outcome.hpp"
#include "refusals.hpp"

namespace {

using namespace std::chrono_literals;

constexpr const char* kAddress = "127.0.0.1";
constexpr int kPort = 4711;

void expectFailure(const CallOutcome& outcome, const std::string& output) {
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, output);
    EXPECT_EQ(outcome.said.errors, "");
    EXPECT_EQ(outcome.leftOpen, 0);
}

class TcpConnect : public testing::Test {
  protected:
    static CallOutcome connectTo(const char* address) {
        return outcomeOf([address] { return Tcp_Connect(address, kPort); });
    }

    bed::Namespaces namespaces_{bed::Control::kAbsent};
};

TEST_F(TcpConnect, returns_a_connected_socket_and_says_nothing) {
    const bed::UploadPort port(kAddress, kPort);
    const CallOutcome outcome = connectTo(kAddress);
    const avoip::Descriptor socket(outcome.result);
    ASSERT_GE(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(outcome.leftOpen, 1);
    ASSERT_EQ(::send(socket.get(), "hello", 5, 0), 5);
    EXPECT_EQ(port.accept().receive(5), "hello");
}

TEST_F(TcpConnect, the_socket_blocks_and_its_address_may_be_used_again) {
    const bed::UploadPort port(kAddress, kPort);
    const avoip::Descriptor socket(Tcp_Connect(kAddress, kPort));
    const int flags = ::fcntl(socket.get(), F_GETFL);
    ASSERT_GE(flags, 0);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
    int reuse = 0;
    socklen_t length = sizeof reuse;
    ASSERT_EQ(::getsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, &length), 0);
    EXPECT_NE(reuse, 0);
}

TEST_F(TcpConnect, works_above_descriptor_number_1024) {
    const rlimit many{2048, 2048};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &many), 0);
    const bed::UploadPort port(kAddress, kPort);
    std::vector<avoip::Descriptor> taken;
    while (taken.empty() || taken.back().get() < 1100) {
        taken.emplace_back(::dup(0));
        ASSERT_GE(taken.back().get(), 0);
    }
    const CallOutcome outcome = connectTo(kAddress);
    const avoip::Descriptor socket(outcome.result);
    EXPECT_GT(outcome.result, 1100);
    EXPECT_EQ(Tcp_Send(socket.get(), "hello", 5, 5), 0);
    bed::Upload accepted = port.accept();
    EXPECT_EQ(accepted.receive(5), "hello");
    accepted.send("ok");
    std::array<char, 8> buffer{};
    EXPECT_EQ(Tcp_Recv(socket.get(), buffer.data(), buffer.size(), 5), 2);
}

TEST_F(TcpConnect, a_refused_connection_says_so) {
    expectFailure(connectTo(kAddress),
                  "getsockopt SO_ERROR=111 errno:115 Operation now in progress\n");
}

TEST_F(TcpConnect, what_fails_at_once_says_so) {
    bed::ip("route add unreachable 10.9.9.0/24");
    expectFailure(connectTo("10.9.9.9"), "connect error:113 No route to host\n");
}

TEST_F(TcpConnect, a_text_that_is_no_address_is_refused) {
    for (const std::string text : {"somewhere", "10.77.0", "10.77.0.256", ""}) {
        expectFailure(connectTo(text.c_str()), "ip:" + text + " inet_pton error:0 Success\n");
    }
}

TEST_F(TcpConnect, without_a_descriptor_it_says_so) {
    const CallOutcome outcome = outcomeOf([] {
        const NoDescriptors none;
        return Tcp_Connect(kAddress, kPort);
    });
    expectFailure(outcome, "socket error:24 Too many open files\n");
}

TEST_F(TcpConnect, a_refused_option_is_reported) {
    const CallOutcome outcome = outcomeOf([] {
        return resultWithRefusal(SYS_setsockopt, ~0U, SOL_SOCKET,
                                 [] { return Tcp_Connect(kAddress, kPort); });
    });
    EXPECT_EQ(outcome.result, -1);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(outcome.said.errors, "Setting SO_REUSEADDR error: Permission denied\n");
}

TEST_F(TcpConnect, flags_that_cannot_be_read_or_set_are_reported) {
    for (const unsigned int refused : {F_GETFL, F_SETFL}) {
        const CallOutcome outcome = outcomeOf([refused] {
            return resultWithRefusal(SYS_fcntl, ~0U, refused,
                                     [] { return Tcp_Connect(kAddress, kPort); });
        });
        expectFailure(outcome, "fcntl error:13 Permission denied\n");
    }
}

TEST(TcpConnectOutside, an_address_that_swallows_everything_times_out_after_a_second) {
    const bed::Namespaces namespaces;
    bed::ip("route add 10.99.0.0/16 via 10.77.0.2");
    namespaces.onDeviceSide([] { bed::ip("route add blackhole 10.99.0.0/16"); });
    const CallOutcome outcome = outcomeOf([] { return Tcp_Connect("10.99.0.1", kPort); });
    expectFailure(outcome, "connect timeout. error:115 Operation now in progress\n");
    EXPECT_GE(outcome.took, 1s);
}

TEST(TcpConnectOutside, an_address_that_nobody_has_times_out_after_a_second) {
    const bed::Namespaces namespaces;
    // The system must not give up the question for the address before the connect does.
    bed::ip("ntable change name arp_cache dev eth0.2 mcast_probes 30");
    const CallOutcome outcome = outcomeOf([] { return Tcp_Connect("10.77.200.1", kPort); });
    expectFailure(outcome, "connect timeout. error:115 Operation now in progress\n");
    EXPECT_GE(outcome.took, 1s);
}

// Two connected stream sockets.
class TcpTransfer : public testing::Test {
  protected:
    TcpTransfer() {
        ::signal(SIGPIPE, SIG_IGN);
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        near_ = avoip::Descriptor(ends[0]);
        far_ = avoip::Descriptor(ends[1]);
    }

    void makeNonBlocking() const { ASSERT_EQ(::fcntl(near_.get(), F_SETFL, O_NONBLOCK), 0); }

    /// Fills what the system buffers, so that nothing can be written any more.
    void fill() const {
        const std::string piece(4096, 'f');
        while (::send(near_.get(), piece.data(), piece.size(), MSG_DONTWAIT) > 0) {
        }
    }

    std::string receiveAll() const {
        std::string received;
        std::array<char, 65536> piece;
        for (ssize_t got = 0; (got = ::recv(far_.get(), piece.data(), piece.size(), 0)) > 0;) {
            received.append(piece.data(), static_cast<std::size_t>(got));
        }
        return received;
    }

    CallOutcome sendAll(const std::string& bytes, int seconds = 0) const {
        return outcomeOf(
            [&] { return Tcp_Send(near_.get(), bytes.data(), bytes.size(), seconds); });
    }

    avoip::Descriptor near_;
    avoip::Descriptor far_;
    const std::string large_ = std::string(3'000'000, 'x') + "end";
};

using TcpSend = TcpTransfer;
using TcpRecv = TcpTransfer;

TEST_F(TcpSend, sends_everything_to_a_reader_that_is_slower) {
    std::string received;
    std::jthread reader([&] { received = receiveAll(); });
    const CallOutcome outcome = sendAll(large_, 10);
    near_.reset();
    reader.join();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.said.output, "");
    EXPECT_EQ(received, large_);
}

TEST_F(TcpSend, a_socket_that_stays_full_for_the_time_fails) {
    fill();
    expectFailure(sendAll("x"), "select error:0 Success");
}

TEST_F(TcpSend, waits_as_long_as_it_is_told) {
    fill();
    const CallOutcome outcome = sendAll("x", 1);
    expectFailure(outcome, "select error:0 Success");
    EXPECT_GE(outcome.took, 1s);
}

TEST_F(TcpSend, ten_pauses_without_room_are_a_failure) {
    makeNonBlocking();
    const CallOutcome outcome = sendAll(large_);
    expectFailure(outcome, "send error:11 Resource temporarily unavailable");
    EXPECT_GE(outcome.took, 50ms);
    near_.reset();
    const std::string received = receiveAll();
    EXPECT_GT(received.size(), 0U);
    EXPECT_LT(received.size(), large_.size());
}

TEST_F(TcpSend, a_peer_that_has_gone_away_is_a_failure_and_no_signal) {
    far_.reset();
    expectFailure(sendAll("x"), "send error:32 Broken pipe");
}

TEST_F(TcpSend, a_descriptor_that_is_none_is_a_failure) {
    near_.reset();
    expectFailure(sendAll("x"), "select error:9 Bad file descriptor");
}

using TcpSendPiece = TcpTransfer;

TEST_F(TcpSendPiece, sends_what_there_is_room_for_at_once) {
    EXPECT_EQ(Tcp_SendPiece(near_.get(), "hello", 5, 0), 0);
    near_.reset();
    EXPECT_EQ(receiveAll(), "hello");
}

TEST_F(TcpSendPiece, waits_where_there_is_no_room) {
    fill();
    const CallOutcome inVain =
        outcomeOf([this] { return Tcp_SendPiece(near_.get(), "hello", 5, 0); });
    expectFailure(inVain, "select error:0 Success");
    std::string received;
    std::jthread reader([&] { received = receiveAll(); });
    EXPECT_EQ(Tcp_SendPiece(near_.get(), "hello", 5, 10), 0);
    near_.reset();
    reader.join();
    EXPECT_EQ(received.substr(received.size() - 6), "fhello");
}

TEST_F(TcpSendPiece, waits_where_there_is_room_for_a_part_only) {
    // A piece as large as this is taken in part and then has to wait.
    const CallOutcome outcome =
        outcomeOf([this] { return Tcp_SendPiece(near_.get(), large_.data(), large_.size(), 0); });
    expectFailure(outcome, "select error:0 Success");
    near_.reset();
    const std::string received = receiveAll();
    EXPECT_GT(received.size(), 0U);
    EXPECT_LT(received.size(), large_.size());
}

TEST_F(TcpSendPiece, a_peer_that_has_gone_away_is_a_failure_and_no_signal) {
    far_.reset();
    const CallOutcome outcome = outcomeOf([this] { return Tcp_SendPiece(near_.get(), "x", 1, 0); });
    expectFailure(outcome, "send error:32 Broken pipe");
}

TEST_F(TcpRecv, returns_what_has_come_up_to_its_room) {
    ASSERT_EQ(::send(far_.get(), "abcdef", 6, 0), 6);
    std::array<char, 8> buffer{};
    EXPECT_EQ(Tcp_Recv(near_.get(), buffer.data(), 4, 5), 4);
    EXPECT_STREQ(buffer.data(), "abcd");
    EXPECT_EQ(Tcp_Recv(near_.get(), buffer.data(), 4, 5), 2);
    EXPECT_STREQ(buffer.data(), "efcd");
}

class TcpRecvFailure : public TcpTransfer {
  protected:
    CallOutcome receive(int seconds = 0) const {
        return outcomeOf([this, seconds] {
            std::array<char, 8> buffer{};
            return Tcp_Recv(near_.get(), buffer.data(), buffer.size(), seconds);
        });
    }
};

TEST_F(TcpRecvFailure, nothing_within_the_time) {
    expectFailure(receive(), "select error:0 Success");
    const CallOutcome outcome = receive(1);
    expectFailure(outcome, "select error:0 Success");
    EXPECT_GE(outcome.took, 1s);
}

TEST_F(TcpRecvFailure, the_end_of_the_stream) {
    far_.reset();
    expectFailure(receive(), "recv error:0 Success");
}

TEST_F(TcpRecvFailure, a_reset_connection) {
    const bed::Namespaces namespaces(bed::Control::kAbsent);
    const bed::UploadPort port(kAddress, kPort);
    near_ = avoip::Descriptor(Tcp_Connect(kAddress, kPort));
    port.accept().reset();
    expectFailure(receive(10), "recv error:104 Connection reset by peer");
}

TEST_F(TcpRecvFailure, a_descriptor_that_is_none) {
    near_.reset();
    expectFailure(receive(), "select error:9 Bad file descriptor");
}

}  // namespace
