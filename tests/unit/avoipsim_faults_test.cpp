// What goes wrong on purpose: as often as asked for, and the same each time.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "avoipsim/faults.hpp"

namespace avoip::sim {
namespace {

constexpr const char* kReply =
    R"({"ack":{"cmd":"c","status":"success","hostid":"h","deviceid":"d"},"data":{"key":"text"}})";

std::string spoil(const Fault& fault) {
    const Json reply = Json_parse(kReply);
    return Faults_print(fault, reply.get());
}

std::string describe(const Fault& fault) {
    return std::to_string(fault.lost) + Faults_name(fault) + std::to_string(fault.delay.count()) +
           ":" + std::to_string(fault.missingMember);
}

std::string sequence(const FaultOptions& options) {
    std::string text;
    for (std::uint64_t request = 0; request < 50; ++request) {
        for (std::uint64_t device = 0; device < 5; ++device) {
            text += describe(Faults_draw(options, request, device)) + "\n";
        }
    }
    return text;
}

FaultOptions everything(std::uint64_t seed) {
    FaultOptions options;
    options.seed = seed;
    options.loss = options.duplicate = options.wrongHostid = 0.5;
    options.failed = options.missingKey = options.notJson = 0.5;
    options.delayMax_ms = 100;
    return options;
}

TEST(AvoipsimFaults, the_same_seed_gives_the_same_faults) {
    EXPECT_EQ(sequence(everything(7)), sequence(everything(7)));
    EXPECT_NE(sequence(everything(7)), sequence(everything(8)));
}

TEST(AvoipsimFaults, one_kind_of_fault_does_not_move_another) {
    FaultOptions onlyLoss;
    onlyLoss.seed = 7;
    onlyLoss.loss = 0.5;
    for (std::uint64_t request = 0; request < 100; ++request) {
        EXPECT_EQ(Faults_draw(onlyLoss, request, 3).lost,
                  Faults_draw(everything(7), request, 3).lost);
    }
}

TEST(AvoipsimFaults, devices_and_requests_fare_differently) {
    std::set<std::string> seen;
    for (std::uint64_t request = 0; request < 10; ++request) {
        for (std::uint64_t device = 0; device < 10; ++device) {
            seen.insert(describe(Faults_draw(everything(1), request, device)));
        }
    }
    EXPECT_EQ(seen.size(), 100U);
}

TEST(AvoipsimFaults, a_fault_comes_about_as_often_as_asked_for) {
    FaultOptions options;
    options.loss = 0.25;
    int lost = 0;
    for (std::uint64_t request = 0; request < 4000; ++request) {
        lost += Faults_draw(options, request, 0).lost ? 1 : 0;
    }
    EXPECT_GT(lost, 900);
    EXPECT_LT(lost, 1100);
}

TEST(AvoipsimFaults, probability_0_is_never_and_1_is_always) {
    FaultOptions always;
    always.loss = 1;
    for (std::uint64_t request = 0; request < 1000; ++request) {
        EXPECT_TRUE(Faults_draw(always, request, 0).lost);
        EXPECT_EQ(Faults_name(Faults_draw(always, request, 0)), "");
        EXPECT_FALSE(Faults_draw({}, request, 0).lost);
    }
}

TEST(AvoipsimFaults, a_delay_covers_its_range_and_stays_in_it) {
    FaultOptions options;
    options.delayMin_ms = 10;
    options.delayMax_ms = 12;
    std::set<std::int64_t> seen;
    for (std::uint64_t request = 0; request < 200; ++request) {
        seen.insert(Faults_draw(options, request, 0).delay.count());
    }
    EXPECT_EQ(seen, (std::set<std::int64_t>{10, 11, 12}));
}

TEST(AvoipsimFaults, without_a_fault_the_reply_is_as_it_was) {
    EXPECT_EQ(spoil({}), kReply);
}

TEST(AvoipsimFaults, each_fault_spoils_the_reply_in_its_way) {
    Fault wrongHostid;
    wrongHostid.wrongHostid = true;
    EXPECT_EQ(spoil(wrongHostid),
              R"({"ack":{"cmd":"c","status":"success","hostid":"ffffffffffff","deviceid":"d"},)"
              R"("data":{"key":"text"}})");
    Fault failed;
    failed.failed = true;
    EXPECT_EQ(spoil(failed),
              R"({"ack":{"cmd":"c","status":"failure","hostid":"h","deviceid":"d"}})");
    Fault notJson;
    notJson.notJson = true;
    EXPECT_EQ(spoil(notJson), "this is not JSON");
    EXPECT_EQ(Json_parse(spoil(notJson)), nullptr);
}

TEST(AvoipsimFaults, any_one_member_can_be_missing) {
    std::set<std::string> seen;
    for (std::uint64_t member = 0; member < 12; ++member) {
        Fault fault;
        fault.missingKey = true;
        fault.missingMember = member;
        seen.insert(spoil(fault));
    }
    EXPECT_EQ(seen.size(), 6U);  // four of the ack, the data, its only member
    EXPECT_TRUE(
        seen.contains(R"({"ack":{"cmd":"c","status":"success","hostid":"h","deviceid":"d"}})"));
    EXPECT_TRUE(seen.contains(
        R"({"ack":{"cmd":"c","status":"success","hostid":"h","deviceid":"d"},"data":{}})"));
    EXPECT_TRUE(seen.contains(
        R"({"ack":{"status":"success","hostid":"h","deviceid":"d"},"data":{"key":"text"}})"));
}

}  // namespace

}  // namespace avoip::sim
