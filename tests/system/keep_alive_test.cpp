// What the system has been told to do about front ends that are silent. That a front end which
// vanished is found out takes minutes: tests/long/vanished_front_end_test.cpp.
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "bed/session.hpp"

namespace {

int option(const avoip::Descriptor& socket, int level, int name) {
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(::getsockopt(socket.get(), level, name, &value, &size), 0);
    return value;
}

TEST(KeepAlive, asks_a_silent_front_end_after_a_minute_and_five_times_in_all) {
    bed::Session session;
    session.segment.ask(session.console, "hello!");
    const auto before = session.daemon.descriptors();
    bed::Console console;
    session.segment.ask(console, "hello!");
    auto added = session.daemon.descriptors();
    std::erase_if(added, [&](const auto& each) { return before.contains(each.first); });
    ASSERT_EQ(added.size(), 1U);

    const avoip::Descriptor connection = session.daemon.borrow(added.begin()->first);
    EXPECT_EQ(option(connection, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_KEEPIDLE), 60);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_KEEPINTVL), 20);
    EXPECT_EQ(option(connection, IPPROTO_TCP, TCP_KEEPCNT), 5);
}

}  // namespace
