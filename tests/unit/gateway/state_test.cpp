// The state: which events change it, what it tells of that, and what counts as no change.
#include "gateway/state/state.hpp"

#include <string>
#include <vector>

#include "gateway/state/json.hpp"
#include "gateway/state/restore.hpp"
#include "gtest/gtest.h"

namespace avoip::gw {
namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

DeviceReport report(const std::string& id, const std::string& type, const std::string& mac = "0a",
                    const std::string& version = "V1.0.0") {
    return {id, type, "", "10.0.0.1", "255.0.0.0", "10.0.0.254", mac, "online", version};
}

/// A state that notes what it tells: "KIND KEY", and "action target detail".
class States : public testing::Test {
  protected:
    States() {
        state.changed = [this](const Change& change) {
            EXPECT_EQ(change.revision, ++lastRevision);
            told.push_back(std::string(ChangeKind_name(change.kind)) +
                           (change.key.empty() ? "" : " " + change.key));
            texts.push_back(change.json);
        };
        state.happened = [this](const Incident& incident) {
            happened.push_back(incident.action + " " + incident.target + " " + incident.detail);
        };
    }

    void list(const std::vector<DeviceReport>& reports, bool missing = true) {
        State_listed(state, reports, now, missing);
    }

    Texts takeTold() { return std::exchange(told, {}); }
    Texts takeHappened() { return std::exchange(happened, {}); }

    Time now{1'000'000ms};
    State state = State_begin("e", now);
    std::uint64_t lastRevision = 0;
    Texts told;
    Texts texts;
    Texts happened;
};

TEST_F(States, tells_of_new_devices_and_their_number) {
    list({report("TX-1", "TX"), report("RX-1", "RX"), report("Q-1", "QX")});
    EXPECT_EQ(takeTold(), (Texts{"device Q-1", "device RX-1", "device TX-1", "system"}));
    EXPECT_EQ(takeHappened(), (Texts{"new Q-1 V1.0.0", "new RX-1 V1.0.0", "new TX-1 V1.0.0"}));
    EXPECT_EQ(state.counts, (DeviceCounts{1, 1, 0}));
    EXPECT_EQ(state.devices.at("Q-1").type, DeviceType::kUnknown);
}

TEST_F(States, is_not_changed_by_a_device_that_is_heard_once_more) {
    list({report("RX-1", "RX")});
    takeTold();
    const std::uint64_t reading = state.reading;
    now += 15s;
    list({report("RX-1", "RX")});
    State_heard(state, "RX-1", now);
    EXPECT_TRUE(takeTold().empty());
    EXPECT_GT(state.reading, reading);
    EXPECT_EQ(state.devices.at("RX-1").lastSeen, now);
    EXPECT_NE(state.devices.at("RX-1").json.find(Time_text(now)), std::string::npos);
}

TEST_F(States, tells_of_every_text_that_a_device_says_otherwise) {
    list({report("RX-1", "RX")});
    takeTold();
    DeviceReport other = report("RX-1", "RX");
    other.alias = "Stage";
    list({other});
    EXPECT_EQ(takeTold(), Texts{"device RX-1"});
    takeHappened();
    other.version = "V1.2.6";
    list({other});
    EXPECT_EQ(takeTold(), Texts{"device RX-1"});
    EXPECT_EQ(takeHappened(), Texts{"version RX-1 V1.0.0 -> V1.2.6"});
}

TEST_F(States, takes_a_device_for_offline_after_so_many_missed_discoveries) {
    list({report("RX-1", "RX")});
    takeTold();
    takeHappened();
    list({});
    list({});
    EXPECT_TRUE(state.devices.at("RX-1").online);
    // A listing that is no discovery is none that it can miss.
    list({}, false);
    EXPECT_TRUE(takeTold().empty());
    list({});
    EXPECT_FALSE(state.devices.at("RX-1").online);
    EXPECT_EQ(takeTold(), (Texts{"device RX-1", "system"}));
    EXPECT_EQ(takeHappened(), Texts{"gone RX-1 "});
    list({});
    EXPECT_TRUE(takeTold().empty());
    list({report("RX-1", "RX")});
    EXPECT_EQ(takeTold(), (Texts{"device RX-1", "system"}));
    EXPECT_EQ(takeHappened(), Texts{"back RX-1 "});
}

TEST_F(States, takes_a_device_that_answers_anything_for_there) {
    list({report("RX-1", "RX")});
    for (int i = 0; i < 3; ++i) {
        list({});
    }
    takeTold();
    takeHappened();
    State_heard(state, "RX-1", now);
    EXPECT_EQ(takeTold(), (Texts{"device RX-1", "system"}));
    EXPECT_EQ(takeHappened(), Texts{"back RX-1 "});
    State_heard(state, "RX-9", now);
    EXPECT_TRUE(takeTold().empty());
}

TEST_F(States, makes_one_entry_of_two_devices_with_one_identity) {
    list({report("RX-1", "RX", "0a", "V1"), report("RX-1", "RX", "0b", "V2")});
    EXPECT_EQ(state.devices.size(), 1U);
    EXPECT_TRUE(state.devices.at("RX-1").duplicate);
    EXPECT_EQ(state.devices.at("RX-1").said.version, "V2");
    // As long as both are heard now and then they are two.
    list({report("RX-1", "RX", "0b", "V2")});
    list({report("RX-1", "RX", "0b", "V2")});
    EXPECT_TRUE(state.devices.at("RX-1").duplicate);
    list({report("RX-1", "RX", "0b", "V2")});
    EXPECT_FALSE(state.devices.at("RX-1").duplicate);
}

TEST_F(States, takes_a_reply_that_came_twice_for_no_second_device) {
    list({report("RX-1", "RX"), report("RX-1", "RX")});
    EXPECT_FALSE(state.devices.at("RX-1").duplicate);
}

TEST_F(States, passes_over_what_has_no_identity) {
    list({report("", "RX")});
    EXPECT_TRUE(state.devices.empty());
    EXPECT_TRUE(told.empty());
}

TEST_F(States, has_routes_of_decoders_only_and_never_heard_at_first) {
    list({report("TX-1", "TX"), report("RX-1", "RX")});
    for (const RouteKind kind : kAllRouteKinds) {
        EXPECT_EQ(State_route(state, kind, "TX-1"), nullptr);
        ASSERT_NE(State_route(state, kind, "RX-1"), nullptr);
        EXPECT_EQ(State_route(state, kind, "RX-1")->seenAt, std::nullopt);
    }
    list({report("TX-1", "RX"), report("RX-1", "TX")});
    EXPECT_NE(State_route(state, RouteKind::kIr, "TX-1"), nullptr);
    EXPECT_EQ(State_route(state, RouteKind::kIr, "RX-1"), nullptr);
}

TEST_F(States, tells_of_a_route_that_is_new_and_not_of_one_that_is_seen_again) {
    list({report("RX-1", "RX")});
    takeTold();
    State_routeSaid(state, RouteKind::kVideo, "RX-1", "", now);
    EXPECT_EQ(takeTold(), Texts{"route video/RX-1"});
    EXPECT_EQ(texts.back(), R"({"kind":"video","decoder":"RX-1","encoder":null,"seen_at":")" +
                                Time_text(now) + "\"}");
    now += 10s;
    State_routeSaid(state, RouteKind::kVideo, "RX-1", "", now);
    EXPECT_TRUE(takeTold().empty());
    EXPECT_EQ(State_route(state, RouteKind::kVideo, "RX-1")->seenAt, now);
    State_routeSaid(state, RouteKind::kVideo, "RX-1", "TX-1", now);
    EXPECT_EQ(takeTold(), Texts{"route video/RX-1"});
    State_routeSaid(state, RouteKind::kVideo, "RX-9", "TX-1", now);
    EXPECT_TRUE(takeTold().empty());
}

TEST_F(States, keeps_the_moment_since_when_the_daemon_does_so) {
    const Time began = now;
    now += 1s;
    State_daemonIs(state, DaemonState::kAbsent, "other words", now);
    EXPECT_EQ(state.daemon.since, began);
    EXPECT_EQ(takeTold(), Texts{"system"});
    EXPECT_TRUE(happened.empty());
    State_daemonIs(state, DaemonState::kOk, "", now);
    EXPECT_EQ(state.daemon.since, now);
    EXPECT_EQ(takeHappened(), Texts{"daemon  ok"});
    takeTold();
    State_daemonIs(state, DaemonState::kOk, "", now + 1s);
    EXPECT_TRUE(takeTold().empty());
    State_daemonIs(state, DaemonState::kStopped, "Why.", now);
    EXPECT_EQ(takeHappened(), Texts{"daemon  stopped: Why."});
}

TEST_F(States, forgets_devices_that_are_offline_and_no_others) {
    list({report("RX-1", "RX")});
    EXPECT_FALSE(State_forget(state, "RX-1"));
    EXPECT_FALSE(State_forget(state, "RX-9"));
    for (int i = 0; i < 3; ++i) {
        list({});
    }
    takeTold();
    EXPECT_TRUE(State_forget(state, "RX-1"));
    EXPECT_EQ(takeTold(), (Texts{"device_removed RX-1", "system"}));
    EXPECT_EQ(texts[texts.size() - 2], R"({"id":"RX-1","deleted":true})");
    EXPECT_EQ(State_route(state, RouteKind::kVideo, "RX-1"), nullptr);
}

TEST_F(States, stays_within_its_bound_of_devices) {
    for (std::size_t round = 0; round < 2; ++round) {
        for (std::size_t i = 0; i < kMostDevices; i += 1'024) {
            std::vector<DeviceReport> reports;
            for (std::size_t j = 0; j < 1'024; ++j) {
                reports.push_back(
                    report(std::to_string(round) + "-" + std::to_string(i + j), "RX"));
            }
            list(reports);
            now += 1s;
        }
    }
    EXPECT_EQ(state.devices.size(), kMostDevices);
    // Those that were heard last are there.
    EXPECT_TRUE(state.devices.contains("1-" + std::to_string(kMostDevices - 1)));
    EXPECT_EQ(state.routes[0].size(), kMostDevices);
}

TEST_F(States, tells_of_what_people_keep) {
    State_put(state, Preset{"evening", "", {}, now});
    State_put(state, Lock{"RX-1", "local", "", now});
    State_put(state, Room{"hall", {}, {}});
    State_put(state, Wall{.name = "front"});
    State_put(state, Job{.id = "1", .image = "i"});
    State_logged(state, "7", "{}");
    EXPECT_EQ(takeTold(),
              (Texts{"preset evening", "lock RX-1", "room hall", "wall front", "job 1", "log 7"}));
    EXPECT_EQ(state.revision, 6U);
    lastRevision = state.revision;
    EXPECT_TRUE(State_removePreset(state, "evening"));
    EXPECT_EQ(texts.back(), R"({"name":"evening","deleted":true})");
    EXPECT_TRUE(State_removeLock(state, "RX-1"));
    EXPECT_EQ(texts.back(), R"({"decoder":"RX-1","deleted":true})");
    EXPECT_TRUE(State_removeWall(state, "front"));
    EXPECT_TRUE(State_removeJob(state, "1"));
    EXPECT_EQ(texts.back(), R"({"id":"1","deleted":true})");
    EXPECT_TRUE(State_removeRoom(state, "hall"));
    EXPECT_FALSE(State_removeRoom(state, "hall"));
    EXPECT_FALSE(State_removeWall(state, "front"));
    EXPECT_EQ(takeTold(),
              (Texts{"preset evening", "lock RX-1", "wall front", "job 1", "room hall"}));
    EXPECT_EQ(state.revision, 11U);
}

TEST_F(States, tells_of_the_broker_once) {
    State_brokerIs(state, {"connecting", "mqtt://a"});
    State_brokerIs(state, {"connecting", "mqtt://a"});
    EXPECT_EQ(takeTold(), Texts{"system"});
}

TEST(Walls, have_tiles_that_begin_at_whole_pixels_rounded_down) {
    Wall wall;
    wall.columns = 3;
    wall.rows = 2;
    wall.width = 1000;
    wall.height = 999;
    EXPECT_EQ(Wall_offset(wall, {"", 0, 0}).x, 0);
    EXPECT_EQ(Wall_offset(wall, {"", 1, 0}).x, 333);
    EXPECT_EQ(Wall_offset(wall, {"", 2, 1}).x, 666);
    EXPECT_EQ(Wall_offset(wall, {"", 2, 1}).y, 499);
    wall.columns = 64;
    wall.width = 2'147'483'647;
    EXPECT_EQ(Wall_offset(wall, {"", 63, 0}).x, 2'113'929'215);
}

}  // namespace
}  // namespace avoip::gw
