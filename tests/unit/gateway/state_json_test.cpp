// The resources as JSON, to the letter, and back.
#include "gateway/state/json.hpp"

#include <string>

#include "gateway/state/restore.hpp"
#include "gtest/gtest.h"

namespace avoip::gw {
namespace {

using namespace std::chrono_literals;

const Time kTime = *Time_read("2024-02-29T23:59:59.123Z");

State someState() {
    State state = State_begin("abc", kTime);
    state.version = "1.2.3";
    const DeviceReport reports[] = {
        {"TX-1", "TX", "Desk", "10.0.0.1", "255.0.0.0", "10.0.0.254", "0a:0b", "online", "V1.2.6"},
        {"RX-1", "RX", "", "10.0.0.2", "255.0.0.0", "10.0.0.254", "0a:0c", "off", "V1.0.0"},
        {"Q\xff\x1b", "QX", "\xe2\x80\xae", "", "", "", "", "", ""},
    };
    State_listed(state, reports, kTime, true);
    State_routeSaid(state, RouteKind::kVideo, "RX-1", "TX-1", kTime);
    return state;
}

const std::string kEncoder =
    R"({"id":"TX-1","type":"encoder","alias":"Desk","address":"10.0.0.1","netmask":"255.0.0.0",)"
    R"("gateway":"10.0.0.254","mac":"0a:0b","status":"online","version":"V1.2.6","online":true,)"
    R"("last_seen":"2024-02-29T23:59:59.123Z","duplicate":false})";
const std::string kDecoder =
    R"({"id":"RX-1","type":"decoder","alias":"","address":"10.0.0.2","netmask":"255.0.0.0",)"
    R"("gateway":"10.0.0.254","mac":"0a:0c","status":"off","version":"V1.0.0","online":true,)"
    R"("last_seen":"2024-02-29T23:59:59.123Z","duplicate":false})";

TEST(StateJson, has_times_of_utc_with_milliseconds) {
    EXPECT_EQ(Time_text(kTime), "2024-02-29T23:59:59.123Z");
    EXPECT_EQ(Time_text(Time{}), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(Time_read(Time_text(Time{1ms})), Time{1ms});
    for (const char* const text :
         {"", "2024-02-30T00:00:00.000Z", "2024-02-29T23:59:59Z", "2024-02-29 23:59:59.123Z",
          "2024-02-29T23:59:59.123Zx", "2024-02-29T25:59:59.123Z"}) {
        EXPECT_EQ(Time_read(text), std::nullopt) << text;
    }
}

TEST(StateJson, shows_devices_sorted_by_their_ids) {
    State state = someState();
    // What is no UTF-8 is a replacement character; what steers a terminal or a line is escaped.
    const std::string odd =
        R"({"id":"Q\ufffd\u001b","type":"unknown","alias":"\u202e","address":"","netmask":"",)"
        R"("gateway":"","mac":"","status":"","version":"","online":true,)"
        R"("last_seen":"2024-02-29T23:59:59.123Z","duplicate":false})";
    EXPECT_EQ(*Devices_text(state), R"({"epoch":"abc","revision":)" +
                                        std::to_string(state.revision) + R"(,"devices":[)" + odd +
                                        "," + kDecoder + "," + kEncoder + "]}");
}

TEST(StateJson, shows_the_devices_that_are_wanted) {
    const State state = someState();
    const std::string head =
        R"({"epoch":"abc","revision":)" + std::to_string(state.revision) + R"(,"devices":[)";
    EXPECT_EQ(Devices_text(state, {DeviceType::kEncoder, {}}), head + kEncoder + "]}");
    EXPECT_EQ(Devices_text(state, {DeviceType::kDecoder, true}), head + kDecoder + "]}");
    EXPECT_EQ(Devices_text(state, {{}, false}), head + "]}");
}

TEST(StateJson, makes_the_text_of_all_devices_once_for_each_reading) {
    State state = someState();
    const auto first = Devices_text(state);
    EXPECT_EQ(Devices_text(state), first);
    State_heard(state, "RX-1", kTime + 1s);
    const auto second = Devices_text(state);
    EXPECT_NE(second, first);
    EXPECT_NE(second->find("2024-03-01T00:00:00.123Z"), std::string::npos);
}

TEST(StateJson, adds_whether_a_change_is_confirmed) {
    const State state = someState();
    const std::string body = kDecoder.substr(0, kDecoder.size() - 1);
    EXPECT_EQ(Device_jsonConfirmed(*State_device(state, "RX-1"), true),
              body + R"(,"confirmed":true})");
}

TEST(StateJson, shows_routes_by_kind_and_decoder) {
    const State state = someState();
    EXPECT_EQ(Routes_text(state),
              R"({"epoch":"abc","revision":)" + std::to_string(state.revision) +
                  R"(,"video":{"RX-1":{"encoder":"TX-1","seen_at":"2024-02-29T23:59:59.123Z"}},)"
                  R"("serial":{"RX-1":{"encoder":null,"seen_at":null}},)"
                  R"("ir":{"RX-1":{"encoder":null,"seen_at":null}}})");
}

TEST(StateJson, shows_the_system) {
    State state = someState();
    EXPECT_EQ(System_json(state),
              R"({"name":"avoipgw","version":"1.2.3","site":"main","epoch":"abc","revision":)" +
                  std::to_string(state.revision) +
                  R"(,"started_at":"2024-02-29T23:59:59.123Z","daemon":{"state":"absent",)"
                  R"("reason":"The daemon has not been asked yet.",)"
                  R"("since":"2024-02-29T23:59:59.123Z"},)"
                  R"("devices":{"encoders":1,"decoders":1,"offline":0},)"
                  R"("mqtt":{"state":"off","broker":null}})");
    State_daemonIs(state, DaemonState::kOk, "", kTime);
    EXPECT_NE(System_json(state).find(R"("daemon":{"state":"ok","reason":null,)"),
              std::string::npos);
}

/// What stands in a state comes back from its text.
template <class Resource, class Json, class Restore>
void expectKept(const Resource& resource, const std::string& text, Json json, Restore restore) {
    EXPECT_EQ(json(resource), text);
    const auto restored = restore(text);
    ASSERT_TRUE(restored);
    EXPECT_EQ(json(*restored), text);
    EXPECT_FALSE(restore("{}"));
    EXPECT_FALSE(restore("nothing"));
}

TEST(StateJson, keeps_presets) {
    Preset preset{"evening", "", {}, kTime};
    preset.routes[0] = {{"RX-1", "TX-1"}, {"RX-2", ""}};
    expectKept(preset,
               R"({"name":"evening","note":null,"routes":{"video":{"RX-1":"TX-1","RX-2":null}},)"
               R"("updated_at":"2024-02-29T23:59:59.123Z"})",
               Preset_json, Preset_restore);
}

TEST(StateJson, keeps_locks) {
    expectKept(Lock{"RX-1", "local", "rehearsal", kTime},
               R"({"decoder":"RX-1","owner":"local","note":"rehearsal",)"
               R"("since":"2024-02-29T23:59:59.123Z"})",
               Lock_json, Lock_restore);
}

TEST(StateJson, keeps_rooms) {
    expectKept(Room{"hall", {"RX-1", "RX-2"}, {}},
               R"({"name":"hall","decoders":["RX-1","RX-2"],"encoders":[]})", Room_json,
               Room_restore);
}

TEST(StateJson, keeps_walls_with_what_is_computed) {
    expectKept(Wall{"front", "TX-1", 3, 2, 1000, 999, 5, 7, {{"RX-1", 1, 1}}},
               R"({"name":"front","encoder":"TX-1","columns":3,"rows":2,"width":1000,)"
               R"("height":999,"bezel":{"horizontal":5,"vertical":7},"tiles":[)"
               R"({"decoder":"RX-1","column":1,"row":1,)"
               R"("computed":{"x":333,"y":499,"horcut":5,"vercut":7}}]})",
               Wall_json, Wall_restore);
}

TEST(StateJson, keeps_jobs) {
    expectKept(Job{"1",
                   "abc",
                   JobState::kRunning,
                   "",
                   {{"RX-1", JobDeviceState::kUploading, "V1", "", ""}}},
               R"({"id":"1","kind":"installation","image":"abc","state":"running","problem":null,)"
               R"("devices":[{"id":"RX-1","state":"uploading","version_before":"V1",)"
               R"("version_after":null,"problem":null}]})",
               Job_json, Job_restore);
}

TEST(StateJson, shows_collections_with_epoch_and_revision) {
    State state = State_begin("abc", kTime);
    EXPECT_EQ(Presets_text(state), R"({"epoch":"abc","revision":0,"presets":[]})");
    EXPECT_EQ(Rooms_text(state), R"({"epoch":"abc","revision":0,"rooms":[]})");
    State_put(state, Lock{"RX-1", "local", "", kTime});
    EXPECT_EQ(Locks_text(state), R"({"epoch":"abc","revision":1,"locks":[)" +
                                     Lock_json(state.locks.at("RX-1")) + "]}");
    State_put(state, Wall{.name = "b"});
    State_put(state, Wall{.name = "a"});
    EXPECT_EQ(Walls_text(state), R"({"epoch":"abc","revision":3,"walls":[)" +
                                     Wall_json(state.walls.at("a")) + "," +
                                     Wall_json(state.walls.at("b")) + "]}");
    EXPECT_EQ(Jobs_text(state), R"({"epoch":"abc","revision":3,"jobs":[]})");
}

}  // namespace
}  // namespace avoip::gw
