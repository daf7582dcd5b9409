// The events and each client's place among them.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <string>

#include "gateway/events/feed.hpp"
#include "lib/base/descriptor.hpp"

namespace {

using namespace avoip::gw;

std::string text(Follower& follower, Fetched expected = Fetched::kText, std::size_t most = 4096) {
    std::string taken;
    EXPECT_EQ(Feed_take(follower, most, taken), expected);
    return taken;
}

std::string event(int revision, const std::string& data = "{}") {
    return "id: e:" + std::to_string(revision) + "\nevent: device\ndata: " + data + "\n\n";
}

void add(Feed& feed, int revision, const std::string& data = "{}") {
    Feed_add(feed, static_cast<std::uint64_t>(revision), "device", data);
}

constexpr const char* kReset = "event: reset\n";

TEST(Feed, begins_now_without_an_id) {
    const FeedHandle feed = Feed_open("e");
    add(*feed, 1);
    const FollowerHandle follower = Feed_follow(*feed, {}, -1);
    EXPECT_EQ(text(*follower, Fetched::kNothingYet), "");
    add(*feed, 2);
    EXPECT_EQ(text(*follower), event(2));
    EXPECT_EQ(text(*follower, Fetched::kNothingYet), "");
}

TEST(Feed, goes_on_behind_the_revision_of_a_read) {
    const FeedHandle feed = Feed_open("e");
    for (int revision = 1; revision <= 3; ++revision) {
        add(*feed, revision);
    }
    EXPECT_EQ(text(*Feed_follow(*feed, "e:0", -1)), event(1) + event(2) + event(3));
    EXPECT_EQ(text(*Feed_follow(*feed, "e:2", -1)), event(3));
    EXPECT_EQ(text(*Feed_follow(*feed, "e:3", -1), Fetched::kNothingYet), "");
}

TEST(Feed, resets_where_it_cannot_go_on) {
    const FeedHandle feed = Feed_open("e");
    add(*feed, 1);
    for (const char* const id : {"f:1", "e:2", "e1", "e:", "e:x", "e:-1", ""}) {
        const std::string told = text(*Feed_follow(*feed, id, -1));
        EXPECT_NE(told.find(kReset), std::string::npos) << id;
        EXPECT_NE(told.find("data: {\"epoch\":\"e\",\"revision\":1}\n\n"), std::string::npos);
    }
}

TEST(Feed, keeps_ten_thousand_and_more_and_forgets_the_oldest) {
    const FeedHandle feed = Feed_open("e");
    const int last = static_cast<int>(kKeptEvents) + 10;
    for (int revision = 1; revision <= last; ++revision) {
        add(*feed, revision);
    }
    EXPECT_NE(text(*Feed_follow(*feed, "e:9", -1)).find(kReset), std::string::npos);
    EXPECT_TRUE(text(*Feed_follow(*feed, "e:10", -1)).starts_with(event(11)));
    EXPECT_TRUE(
        text(*Feed_follow(*feed, "e:" + std::to_string(last - 10'000), -1)).starts_with("id: e:"));
}

TEST(Feed, gives_pieces_that_fit) {
    const FeedHandle feed = Feed_open("e");
    const FollowerHandle follower = Feed_follow(*feed, {}, -1);
    add(*feed, 1);
    add(*feed, 2);
    std::string whole;
    while (whole.size() < event(1).size() + event(2).size()) {
        whole += text(*follower, Fetched::kText, 7);
    }
    EXPECT_EQ(whole, event(1) + event(2));
}

TEST(Feed, gives_a_client_what_it_gets_and_nothing_else) {
    const FeedHandle feed = Feed_open("e");
    const FollowerHandle follower =
        Feed_follow(*feed, {}, -1, [](std::string_view event, std::string_view key) {
            return event == "device" && key == "a";
        });
    Feed_add(*feed, 1, "device", "{}", "b");
    EXPECT_EQ(text(*follower, Fetched::kNothingYet), "");
    Feed_add(*feed, 2, "device", "{}", "a");
    Feed_add(*feed, 3, "log", "{}", "a");
    EXPECT_EQ(text(*follower), event(2));
}

TEST(Feed, drops_who_leaves_a_mebibyte_of_new_events_and_shuts_its_socket) {
    const FeedHandle feed = Feed_open("e");
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const avoip::Descriptor own(ends[0]);
    const avoip::Descriptor other(ends[1]);
    const FollowerHandle lazy = Feed_follow(*feed, {}, own.get());
    const FollowerHandle keen = Feed_follow(*feed, {}, -1);
    const std::string data(100'000, 'd');
    for (int revision = 1; revision <= 11; ++revision) {
        add(*feed, revision, data);
        EXPECT_EQ(text(*keen, Fetched::kText, 1 << 20), event(revision, data));
    }
    EXPECT_EQ(text(*lazy, Fetched::kDropped), "");
    char byte = 0;
    EXPECT_EQ(::recv(other.get(), &byte, 1, 0), 0);
}

TEST(Feed, does_not_count_what_is_told_again) {
    const FeedHandle feed = Feed_open("e");
    const std::string data(100'000, 'd');
    for (int revision = 1; revision <= 20; ++revision) {
        add(*feed, revision, data);
    }
    const FollowerHandle follower = Feed_follow(*feed, "e:0", -1);
    add(*feed, 21, data);
    for (int revision = 1; revision <= 21; ++revision) {
        EXPECT_EQ(text(*follower, Fetched::kText, event(revision, data).size()),
                  event(revision, data));
    }
}

TEST(Feed, keeps_what_a_client_asked_for_until_it_has_taken_it) {
    const FeedHandle feed = Feed_open("e");
    const int last = static_cast<int>(kKeptEvents);
    for (int revision = 1; revision <= last; ++revision) {
        add(*feed, revision);
    }
    const FollowerHandle follower = Feed_follow(*feed, "e:0", -1);
    for (int revision = last + 1; revision <= last + 100; ++revision) {
        add(*feed, revision);
    }
    EXPECT_TRUE(text(*follower).starts_with(event(1)));
}

TEST(Feed, ends_its_clients_when_it_stops) {
    const FeedHandle feed = Feed_open("e");
    const FollowerHandle follower = Feed_follow(*feed, {}, -1);
    EXPECT_EQ(Feed_clients(*feed), 1U);
    Feed_stop(*feed);
    EXPECT_EQ(text(*follower, Fetched::kStopped), "");
}

}  // namespace
