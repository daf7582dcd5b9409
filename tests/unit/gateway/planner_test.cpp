// What is asked next, and when.
#include "gateway/planner/planner.hpp"

#include <string>
#include <vector>

#include "gtest/gtest.h"

namespace avoip::gw {
namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

constexpr RouteKind kVideo = RouteKind::kVideo;
constexpr RouteKind kSerial = RouteKind::kSerial;
constexpr RouteKind kIr = RouteKind::kIr;

/// A planner, and a time that passes as polls take it.
class Planning : public testing::Test {
  protected:
    Poll next(bool clean = true, bool bold = true) const {
        return Planner_next(planner, now, clean, bold);
    }

    /// Lists these decoders.
    void list(const Texts& decoders, Span cost = 600ms) {
        const Moment from = now;
        now += cost;
        Planner_listed(planner, decoders, from, now);
    }

    std::optional<Span> end(const Poll& poll, const PollOutcome& outcome, Span cost = 4ms) {
        const Moment from = now;
        now += cost;
        return Planner_polled(planner, poll, outcome, from, now);
    }

    /// Waits until there is something to do, an hour at most.
    Poll await(bool bold = true) {
        const Moment limit = now + 1h;
        Poll poll = next(true, bold);
        while (poll.kind == PollKind::kNothing && now < limit) {
            now = std::max(poll.at, now + 1us);
            poll = next(true, bold);
        }
        return poll;
    }

    /// The next poll of routes; listings between hear these decoders.
    Poll awaitRoutes(const Texts& decoders) {
        Poll poll = await();
        while (poll.kind == PollKind::kListing) {
            list(decoders);
            poll = await();
        }
        return poll;
    }

    /// Lets all three kinds of a decoder answer.
    void prove(const std::string& decoder) {
        for (int i = 0; i < 3; ++i) {
            const Poll poll = awaitRoutes({decoder});
            end(poll, {PollEnd::kAnswered});
        }
    }

    Planner planner{{}};
    Moment now = Moment{} + 1h;
};

using PollKinds = std::vector<RouteKind>;

TEST_F(Planning, begins_with_a_listing) {
    EXPECT_EQ(next().kind, PollKind::kListing);
    list({});
    EXPECT_EQ(next().kind, PollKind::kNothing);
    EXPECT_EQ(next().at, now + 15s);
}

TEST_F(Planning, reads_the_video_route_of_each_new_decoder_first) {
    list({"RX-1", "RX-2"});
    std::vector<std::pair<std::string, PollKinds>> asked;
    for (int i = 0; i < 6; ++i) {
        const Poll poll = await();
        asked.emplace_back(poll.decoder, poll.kinds);
        end(poll, {PollEnd::kAnswered});
    }
    const std::vector<std::pair<std::string, PollKinds>> expected{
        {"RX-1", {kVideo}},  {"RX-2", {kVideo}}, {"RX-1", {kSerial}},
        {"RX-2", {kSerial}}, {"RX-1", {kIr}},    {"RX-2", {kIr}}};
    EXPECT_EQ(asked, expected);
}

TEST_F(Planning, reads_together_what_has_answered) {
    list({"RX-1"});
    prove("RX-1");
    const Moment proven = now;
    const Poll poll = awaitRoutes({"RX-1"});
    EXPECT_EQ(poll.kinds, PollKinds{kVideo});
    EXPECT_GE(now, proven + 9s);
    now += 1s;
    EXPECT_EQ(next().kinds, (PollKinds{kVideo, kSerial, kIr}));
}

TEST_F(Planning, leaves_the_turn_to_others_between_two_polls) {
    list({"RX-1", "RX-2"});
    end(await(), {PollEnd::kAnswered}, 5ms);
    EXPECT_EQ(next().kind, PollKind::kNothing);
    EXPECT_EQ(next().at, now + 20ms);
    now += 20ms;
    EXPECT_EQ(next().kind, PollKind::kRoutes);
}

TEST_F(Planning, asks_a_silent_decoder_no_more_until_a_listing_has_heard_it) {
    list({"RX-1"});
    prove("RX-1");
    now += 10s;
    end(awaitRoutes({"RX-1"}), {PollEnd::kSilent}, 3s);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(await().kind, PollKind::kListing);
        list({});
    }
    list({"RX-1"});
    const Poll poll = await();
    EXPECT_EQ(poll.kind, PollKind::kRoutes);
    EXPECT_EQ(poll.kinds.size(), 1U);
}

TEST_F(Planning, asks_what_goes_on_not_answering_ever_more_rarely) {
    list({"RX-1"});
    std::vector<Span> pauses;
    // One kind is at fault; the others answer.
    Moment last = now;
    while (pauses.size() < 10) {
        const Poll poll = awaitRoutes({"RX-1"});
        ASSERT_EQ(poll.kind, PollKind::kRoutes);
        if (poll.kinds != PollKinds{kIr}) {
            end(poll, {PollEnd::kAnswered});
            continue;
        }
        pauses.push_back(std::chrono::floor<Span>(now - last));
        end(poll, {PollEnd::kSilent, kIr}, 3s);
        last = now;
    }
    // A listing has to hear it, which may be late by some fifteen seconds.
    const Span least[] = {0s, 0s, 10s, 20s, 40s, 80s, 160s, 320s, 600s, 600s};
    for (std::size_t i = 0; i < pauses.size(); ++i) {
        EXPECT_GE(pauses[i], least[i]) << i;
        EXPECT_LE(pauses[i], least[i] + 75s) << i;
    }
}

TEST_F(Planning, reads_what_failed_a_single_time_again_though_silent_devices_had_their_share) {
    list({"RX-1"});
    prove("RX-1");
    now += 12s;
    list({"RX-1"});
    Budget_take(planner.silence, now, now + 9s);
    now += 9s;
    const auto failVideo = [&] {
        Poll poll = awaitRoutes({"RX-1"});
        while (poll.kinds.front() != kVideo) {
            end(poll, {PollEnd::kAnswered});
            poll = awaitRoutes({"RX-1"});
        }
        end(poll, {PollEnd::kUnfit, kVideo});
        return now;
    };
    const Moment first = failVideo();
    EXPECT_LT(failVideo(), first + 1s);
    // Now it waits until less of the minute is theirs.
    EXPECT_GT(failVideo(), first + 40s);
}

TEST_F(Planning, reads_what_failed_a_single_time_before_what_never_answered) {
    list({"RX-1"});
    end(awaitRoutes({"RX-1"}), {PollEnd::kAnswered});
    end(awaitRoutes({"RX-1"}), {PollEnd::kUnfit, kSerial});
    end(awaitRoutes({"RX-1"}), {PollEnd::kUnfit, kSerial});
    end(awaitRoutes({"RX-1"}), {PollEnd::kAnswered});
    now += 12s;
    list({"RX-1"});
    Budget_take(planner.silence, now, now + 9s);
    now += 9s;
    const Poll poll = await();
    ASSERT_EQ(poll.kinds, (PollKinds{kVideo, kIr}));
    end(poll, {PollEnd::kUnfit, kIr});
    const Moment lapsed = now;
    end(awaitRoutes({"RX-1"}), {PollEnd::kAnswered});
    EXPECT_EQ(awaitRoutes({"RX-1"}).kinds, PollKinds{kIr});
    EXPECT_LT(now, lapsed + 1s);
}

TEST_F(Planning, reads_a_new_decoder_soon_where_many_have_no_serial_port_and_no_infrared) {
    Texts decoders;
    for (int i = 100; i < 160; ++i) {
        decoders.push_back("RX-" + std::to_string(i));
    }
    const auto read = [&] {
        const Poll poll = awaitRoutes(decoders);
        if (poll.kinds.front() == kVideo) {
            end(poll, {PollEnd::kAnswered});
        } else {
            end(poll, {PollEnd::kSilent, poll.kinds.front()}, 3s);
        }
        return poll;
    };
    for (const Moment begin = now; now < begin + 1h;) {
        read();
    }
    decoders.push_back("RX-999");
    Planner_listSoon(planner, now);
    const Moment came = now;
    while (read().decoder != "RX-999") {
    }
    EXPECT_LT(now, came + 1min);
}

TEST_F(Planning, goes_on_with_the_kinds_that_answer_beside_one_that_does_not) {
    list({"RX-1"});
    int video = 0;
    for (const Moment limit = now + 60s; now < limit;) {
        const Poll poll = awaitRoutes({"RX-1"});
        const bool ir = poll.kinds == PollKinds{kIr};
        video += poll.kinds.front() == kVideo ? 1 : 0;
        end(poll, {ir ? PollEnd::kUnfit : PollEnd::kAnswered, kIr});
    }
    EXPECT_GE(video, 5);
}

TEST_F(Planning, sets_all_kinds_back_when_the_closing_question_fails) {
    list({"RX-1"});
    prove("RX-1");
    now += 12s;
    const Poll poll = awaitRoutes({"RX-1"});
    ASSERT_EQ(poll.kinds.size(), 3U);
    end(poll, {PollEnd::kUnfit});
    for (const RoutePlan& plan : planner.decoders.at("RX-1").routes) {
        EXPECT_EQ(plan.failures, 1);
    }
}

TEST_F(Planning, reads_the_kinds_of_a_slow_decoder_one_by_one) {
    list({"RX-1"});
    prove("RX-1");
    now += 12s;
    Poll poll = awaitRoutes({"RX-1"});
    ASSERT_EQ(poll.kinds.size(), 3U);
    for (; poll.kinds.size() > 1; poll = awaitRoutes({"RX-1"})) {
        end(poll, {PollEnd::kSlow}, 1900ms);
    }
    EXPECT_EQ(planner.decoders.at("RX-1").routes[0].failures, 0);
    // That is no reason to give it up, as long as one kind can be read within the time.
    end(poll, {PollEnd::kSlow}, 1200ms);
    EXPECT_EQ(planner.decoders.at("RX-1").routes[0].failures, 1);
}

TEST_F(Planning, leaves_suspects_alone_while_somebody_waits) {
    list({"RX-2"});
    prove("RX-2");
    now += 12s;
    list({"RX-1", "RX-2"});
    const Poll poll = await(false);
    EXPECT_EQ(poll.decoder, "RX-2");
}

TEST_F(Planning, wants_a_listing_where_replies_may_not_be_believed) {
    list({"RX-1"});
    now += 1s;
    EXPECT_EQ(next(true).kind, PollKind::kRoutes);
    EXPECT_EQ(next(false).kind, PollKind::kListing);
}

TEST_F(Planning, wants_no_listing_for_nothing) {
    list({});
    EXPECT_EQ(next(false).kind, PollKind::kNothing);
}

TEST_F(Planning, tries_a_failed_listing_again_when_it_is_told_to) {
    Planner_listingFailed(planner, now, now, 2s);
    EXPECT_EQ(next().kind, PollKind::kNothing);
    EXPECT_EQ(next().at, now + 2s);
    now += 2s;
    EXPECT_EQ(next().kind, PollKind::kListing);
}

TEST_F(Planning, lists_soon_when_that_is_wanted) {
    list({});
    now += 9s;
    EXPECT_EQ(next().kind, PollKind::kNothing);
    Planner_listSoon(planner, now);
    EXPECT_EQ(next().kind, PollKind::kListing);
}

TEST_F(Planning, needs_not_read_what_was_read_for_somebody) {
    list({"RX-1"});
    prove("RX-1");
    now += 9s;
    for (const RouteKind kind : kAllRouteKinds) {
        Planner_readOtherwise(planner, "RX-1", kind, now);
    }
    Planner_readOtherwise(planner, "RX-9", kVideo, now);
    now += 5s;
    EXPECT_EQ(next().kind, PollKind::kNothing);
}

TEST_F(Planning, tries_what_could_not_be_asked_a_second_later) {
    list({"RX-1"});
    const Poll poll = await();
    end(poll, {PollEnd::kNotAsked});
    EXPECT_EQ(planner.decoders.at("RX-1").routes[0].failures, 0);
    EXPECT_EQ(planner.decoders.at("RX-1").routes[0].due, now + 1s);
}

TEST_F(Planning, tells_how_long_a_round_over_all_routes_takes) {
    const Texts decoders{"RX-1", "RX-2", "RX-3"};
    list(decoders);
    std::vector<Span> rounds;
    for (const Moment limit = now + 100s; now < limit;) {
        if (const auto round = end(awaitRoutes(decoders), {PollEnd::kAnswered})) {
            rounds.push_back(*round);
        }
    }
    ASSERT_GE(rounds.size(), 6U);
    for (const Span round : rounds) {
        EXPECT_LT(round, 11s);
    }
}

TEST_F(Planning, forgets_decoders_that_are_gone_before_they_become_too_many) {
    for (std::size_t round = 0; round < 6; ++round) {
        Texts heard;
        for (std::size_t i = 0; i < kMostPlans / 4; ++i) {
            heard.push_back("RX-" + std::to_string(round) + "-" + std::to_string(i));
        }
        Planner_listed(planner, heard, now, now);
    }
    EXPECT_LE(planner.decoders.size(), kMostPlans);
    EXPECT_EQ(planner.queue.size(), kMostPlans / 4);
}

TEST(Budgets, have_room_for_what_is_left) {
    Budget budget{10s, 2s};
    const Moment zero = Moment{} + 1h;
    EXPECT_EQ(Budget_roomAt(budget, zero, 2s), zero);
    Budget_take(budget, zero, zero + 1s);
    EXPECT_EQ(Budget_used(budget, zero + 5s), Span(1s));
    EXPECT_EQ(Budget_roomAt(budget, zero + 5s, 1s), zero + 5s);
    // Half a second of it has to leave the ten seconds.
    EXPECT_EQ(Budget_roomAt(budget, zero + 5s, 1500ms), zero + 10500ms);
    EXPECT_EQ(Budget_used(budget, zero + 10500ms), Span(500ms));
    // What is more than all is room when nothing is taken.
    EXPECT_EQ(Budget_roomAt(budget, zero + 5s, 5s), zero + 11s);
    EXPECT_EQ(Budget_used(budget, zero + 11s), Span(0s));
}

TEST(Budgets, forget_what_is_past) {
    Budget budget{10s, 2s};
    const Moment zero = Moment{} + 1h;
    for (int i = 0; i < 1000; ++i) {
        Budget_take(budget, zero + i * 1s, zero + i * 1s + 100ms);
    }
    EXPECT_LE(budget.taken.size(), 11U);
    EXPECT_EQ(Budget_used(budget, zero + 1000s), Span(1s));
}

}  // namespace
}  // namespace avoip::gw
