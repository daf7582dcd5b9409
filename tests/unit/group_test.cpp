// Joining and leaving the devices' group.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <string>
#include <utility>

#include "capture_output.hpp"
#include "client_bed.hpp"
#include "descriptors.hpp"
#include "lib/base/descriptor.hpp"
#include "protocol/client.hpp"

namespace {

class Group : public testing::Test {
  protected:
    Group() { refreshAddress(); }

    void refreshAddress() { bed_.client->currentAddress.set(bed::kControlAddress); }

    CapturedOutput join(int socket) {
        return captureOutput([&] { result_ = Protocol_client_joinGroup(bed_.client, socket); });
    }

    CapturedOutput leave() {
        return captureOutput([&] { result_ = Protocol_client_leaveGroup(bed_.client); });
    }

    /// Members of the group on "eth0.2", as the system counts them.
    static int members() {
        std::ifstream table("/proc/thread-self/net/igmp");
        std::string line;
        bool onControlInterface = false;
        while (std::getline(table, line)) {
            if (line.front() != '\t') {
                onControlInterface = line.find("eth0.2") != std::string::npos;
            } else if (onControlInterface && line.find("FAFFFFEF") != std::string::npos) {
                return std::stoi(line.substr(line.find("FAFFFFEF") + 8));
            }
        }
        return 0;
    }

    static int loop(int socket) {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(::getsockopt(socket, IPPROTO_IP, IP_MULTICAST_LOOP, &value, &size), 0);
        return value;
    }

    int own() const { return bed_.client->socket.peek(); }

    ClientBed bed_;
    std::int32_t result_ = 1;
};

TEST_F(Group, the_client_is_no_member_of_its_own_accord) {
    EXPECT_EQ(members(), 0);
    EXPECT_EQ(loop(own()), 1);
}

TEST_F(Group, joining_turns_the_loop_off_and_makes_a_member) {
    const CapturedOutput captured = join(own());
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(captured.output + captured.errors, "");
    EXPECT_EQ(loop(own()), 0);
    EXPECT_EQ(members(), 1);
}

TEST_F(Group, another_socket_than_the_clients_may_join) {
    const avoip::Descriptor other(::socket(AF_INET, SOCK_DGRAM, 0));
    join(other.get());
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(loop(other.get()), 0);
    EXPECT_EQ(loop(own()), 1);
    EXPECT_EQ(members(), 1);
}

TEST_F(Group, a_member_hears_what_is_sent_to_the_group) {
    const avoip::Descriptor other(::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(7000);
    ASSERT_EQ(::bind(other.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    join(other.get());
    bed_.namespaces.onDeviceSide([&] {
        const avoip::Descriptor sender(::socket(AF_INET, SOCK_DGRAM, 0));
        address.sin_addr.s_addr = ::inet_addr(bed::kGroup);
        ::sendto(sender.get(), "hello", 5, 0, reinterpret_cast<sockaddr*>(&address),
                 sizeof address);
    });
    ASSERT_TRUE(bed::awaitReadable(other.get()));
    std::array<char, 16> heard{};
    EXPECT_EQ(::recv(other.get(), heard.data(), heard.size(), 0), 5);
    EXPECT_STREQ(heard.data(), "hello");
}

TEST_F(Group, a_loop_option_that_fails_is_reported_and_the_given_socket_closed) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const avoip::Descriptor otherEnd(ends[1]);
    const CapturedOutput captured = join(ends[0]);
    EXPECT_EQ(result_, -1);
    EXPECT_EQ(captured.output, "setsockopt broadcaset error!!!\n");
    EXPECT_EQ(captured.errors,
              "Setting IP_MULTICAST_LOOP error:: Socket operation on non-socket\n");
    EXPECT_FALSE(isOpen(ends[0]));
    EXPECT_TRUE(isOpen(own())) << "the client's own is not the given one";
}

TEST_F(Group, a_membership_that_fails_is_reported_and_the_given_socket_closed) {
    bed_.client->currentAddress.set("10.99.99.99");
    const int given = ::socket(AF_INET, SOCK_DGRAM, 0);
    const CapturedOutput captured = join(given);
    EXPECT_EQ(result_, -1);
    EXPECT_EQ(captured.output, "setsockopt IP_ADD_MEMBERSHIP error!!!\n");
    EXPECT_EQ(captured.errors, "add IP_ADD_MEMBERSHIP error:: No such device\n");
    EXPECT_FALSE(isOpen(given));
    EXPECT_TRUE(isOpen(own()));
    EXPECT_EQ(members(), 0);
}

TEST_F(Group, before_the_first_request_there_is_no_address_to_join_on) {
    bed_.client->currentAddress.set("");
    join(::socket(AF_INET, SOCK_DGRAM, 0));
    EXPECT_EQ(result_, -1);
}

TEST_F(Group, a_socket_that_joins_twice_is_dropped_from_the_group_and_closed) {
    const int given = ::socket(AF_INET, SOCK_DGRAM, 0);
    join(given);
    ASSERT_EQ(members(), 1);
    const CapturedOutput captured = join(given);
    EXPECT_EQ(result_, -1);
    EXPECT_EQ(captured.output, "setsockopt IP_ADD_MEMBERSHIP error!!!\n");
    EXPECT_EQ(captured.errors, "add IP_ADD_MEMBERSHIP error:: Address already in use\n");
    EXPECT_FALSE(isOpen(given));
    EXPECT_EQ(members(), 0);
}

TEST_F(Group, leaving_leaves_nothing_and_succeeds) {
    join(own());
    const CapturedOutput captured = leave();
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(captured.output + captured.errors, "");
    EXPECT_EQ(members(), 1) << "an all-zero membership names no group";
}

TEST_F(Group, leaving_without_a_membership_or_a_socket_succeeds_as_well) {
    leave();
    EXPECT_EQ(result_, 0);
    Protocol_client_closeSocket(bed_.client);
    const CapturedOutput captured = leave();
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(captured.output + captured.errors, "");
}

}  // namespace
