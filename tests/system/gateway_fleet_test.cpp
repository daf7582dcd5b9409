// The gateway with the daemon and simulated devices: what people see of them and do to them.
#include <sys/stat.h>

#include "gateway_fleet_bed.hpp"

namespace {

TEST_F(GatewayFleet, shows_devices_filters_them_and_forgets_those_that_are_gone) {
    const std::string one = ask("GET", kApi + "/devices/RX-0001").body;
    EXPECT_TRUE(one.starts_with(R"({"id":"RX-0001","type":"decoder","alias":")")) << one;
    EXPECT_NE(one.find(R"("online":true,"last_seen":")"), std::string::npos) << one;
    EXPECT_TRUE(one.ends_with(R"(Z","duplicate":false})")) << one;
    const std::string decoders = ask("GET", kApi + "/devices?type=decoder&online=true").body;
    EXPECT_NE(decoders.find("RX-0002"), std::string::npos);
    EXPECT_EQ(decoders.find("TX-0001"), std::string::npos);
    EXPECT_EQ(ask("DELETE", kApi + "/devices/RX-0001").status, 409);
    EXPECT_EQ(ask("GET", kApi + "/devices/RX-0009").status, 404);

    fleet->stop(SIGTERM);
    awaitIn(kApi + "/system", R"("offline":4})");
    EXPECT_EQ(ask("DELETE", kApi + "/devices/RX-0001").status, 204);
    EXPECT_EQ(ask("GET", kApi + "/devices/RX-0001").status, 404);
    awaitIn(kApi + "/log?limit=20", R"("action":"gone","target":"TX-0001")");
}

TEST_F(GatewayFleet, sets_a_route_that_the_decoder_confirms_and_recalls_what_was_captured) {
    const std::string path = kApi + "/routes/video/RX-0001";
    EXPECT_EQ(ask("PUT", path, R"({"encoder":"TX-0001"})").body,
              R"({"decoder":"RX-0001","encoder":"TX-0001","confirmed":true})");
    awaitIn(kApi + "/routes", R"("RX-0001":{"encoder":"TX-0001","seen_at":")");
    EXPECT_EQ(ask("PUT", kApi + "/presets/now",
                  R"({"capture":{"decoders":["RX-0001"],"kinds":["video"]}})")
                  .status,
              201);
    EXPECT_EQ(ask("DELETE", path).body, R"({"decoder":"RX-0001","encoder":null,"confirmed":true})");
    const bed::HttpAnswer recalled = ask("POST", kApi + "/presets/now/recall");
    EXPECT_EQ(recalled.body,
              R"({"results":[{"kind":"video","decoder":"RX-0001","encoder":"TX-0001",)"
              R"("ok":true,"confirmed":true,"problem":null}]})");
    EXPECT_EQ(ask("PUT", path, R"({"encoder":"TX-0009"})").status, 404);
    EXPECT_EQ(ask("PUT", path, R"({"encoder":null})").status, 422);
    EXPECT_EQ(ask("PUT", kApi + "/routes/audio/RX-0001", R"({"encoder":"TX-0001"})").status, 404);
    EXPECT_EQ(ask("PUT", kApi + "/routes/video/TX-0001", R"({"encoder":"TX-0001"})").status, 422);
    EXPECT_EQ(ask("PUT", kApi + "/routes/video/a%21b", R"({"encoder":"TX-0001"})").status, 422);
}

/// A token for the room "hall", which has the first of each, of two encoders and two decoders.
class GatewayRoom : public GatewayFleet {
  protected:
    GatewayRoom() {
        const std::string room = R"({"decoders":["RX-0001"],"encoders":["TX-0001"]})";
        EXPECT_EQ(ask("PUT", kApi + "/rooms/hall", room).status, 201);
        EXPECT_EQ(ask("PUT", kApi + "/rooms/attic", "{}").status, 201);
        std::string made;
        EXPECT_EQ(run({"token", "add", "t", "--role", "operator", "--room", "hall"}, "", &made), 0);
        token = "Authorization: Bearer " + made.substr(0, made.find('\n'));
    }

    [[nodiscard]] bed::HttpAnswer limited(const std::string& method, const std::string& path,
                                          const std::string& body = {}) const {
        return ask(method, kApi + path, body, {token});
    }

    std::string token;
};

TEST_F(GatewayRoom, is_all_that_its_token_sees) {
    ask("PUT", kApi + "/locks/RX-0002", "{}");
    for (const char* const path :
         {"/devices", "/devices?online=true", "/routes", "/rooms", "/locks"}) {
        const bed::HttpAnswer seen = limited("GET", path);
        EXPECT_EQ(seen.status, 200) << path;
        for (const char* const other : {"-0002", "attic"}) {
            EXPECT_EQ(seen.body.find(other), std::string::npos) << path << seen.body;
        }
    }
    EXPECT_NE(limited("GET", "/devices").body.find("RX-0001"), std::string::npos);
    EXPECT_EQ(limited("GET", "/rooms/hall").status, 200);
    EXPECT_EQ(limited("GET", "/system").status, 200);
    EXPECT_NE(limited("GET", "/session").body.find(R"("rooms":["hall"])"), std::string::npos);
    for (const char* const path :
         {"/rooms/attic", "/devices/RX-0002", "/devices/RX-0001/parameters", "/presets", "/walls",
          "/firmware", "/jobs", "/log", "/users"}) {
        EXPECT_EQ(limited("GET", path).status, 403) << path;
    }
}

TEST_F(GatewayRoom, is_where_its_token_routes) {
    const std::string own = R"({"encoder":"TX-0001"})";
    const std::string foreign = R"({"encoder":"TX-0002"})";
    EXPECT_EQ(limited("PUT", "/routes/video/RX-0001", own).status, 200);
    EXPECT_EQ(limited("PUT", "/routes/video/RX-0001", foreign).status, 403);
    EXPECT_EQ(limited("PUT", "/routes/video/RX-0002", own).status, 403);
    EXPECT_EQ(limited("DELETE", "/routes/video/RX-0002").status, 403);
    EXPECT_EQ(limited("DELETE", "/routes/video/RX-0001").status, 200);
    EXPECT_EQ(limited("POST", "/routes", R"({"video":{"RX-0001":"TX-0001"}})").status, 200);
    EXPECT_EQ(
        limited("POST", "/routes", R"({"video":{"RX-0001":"TX-0001","RX-0002":null}})").status,
        403);
    EXPECT_EQ(limited("POST", "/routes", R"({"video":{"all":"TX-0001"}})").status, 403);
    EXPECT_EQ(limited("POST", "/devices/RX-0001/identify").status, 202);
    EXPECT_EQ(limited("POST", "/devices/RX-0002/identify").status, 403);
    EXPECT_EQ(limited("PUT", "/locks/RX-0001", "{}").status, 403);
}

TEST_F(GatewayRoom, is_what_its_token_is_told_of) {
    bed::Http stream(kGatewayPort);
    stream.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n" + token + "\r\n\r\n");
    stream.await(":\n\n");
    EXPECT_EQ(ask("PUT", kApi + "/rooms/attic", R"({"decoders":["RX-0002"]})").status, 200);
    const std::string wish = R"({"encoder":"TX-0001"})";
    EXPECT_EQ(ask("PUT", kApi + "/routes/video/RX-0002", wish).status, 200);
    EXPECT_EQ(ask("PUT", kApi + "/routes/video/RX-0001", wish).status, 200);
    const std::string told = stream.await("event: route\ndata: {\"kind\":\"video\"");
    for (const char* const other : {"attic", "RX-0002", "event: log"}) {
        EXPECT_EQ(told.find(other), std::string::npos) << told;
    }
    EXPECT_EQ(ask("DELETE", kApi + "/rooms/hall").status, 204);
    stream.await("event: room\ndata: {\"name\":\"hall\",\"deleted\":true}");
    EXPECT_EQ(limited("GET", "/devices").body.find("RX-0001"), std::string::npos);
}

TEST_F(GatewayFleet, keeps_a_lock_for_its_owner) {
    std::string token;
    ASSERT_EQ(run({"token", "add", "otto", "--role", "operator"}, "", &token), 0);
    const std::string otto = "Authorization: Bearer " + token.substr(0, token.find('\n'));
    ASSERT_EQ(run({"token", "add", "anna", "--role", "admin"}, "", &token), 0);
    const std::string anna = "Authorization: Bearer " + token.substr(0, token.find('\n'));
    const std::string lock = kApi + "/locks/RX-0001";
    const std::string route = kApi + "/routes/video/RX-0001";
    const std::string wish = R"({"encoder":"TX-0001"})";

    const bed::HttpAnswer made = ask("PUT", lock, R"({"note":"exam"})", {anna});
    EXPECT_EQ(made.status, 201);
    EXPECT_TRUE(
        made.body.starts_with(R"({"decoder":"RX-0001","owner":"anna","note":"exam","since":")"))
        << made.body;
    EXPECT_EQ(ask("PUT", lock, "{}", {anna}).status, 200);
    EXPECT_EQ(ask("PUT", lock, "{}", {otto}).status, 409);
    EXPECT_EQ(ask("DELETE", lock, "", {otto}).status, 403);
    EXPECT_EQ(ask("PUT", route, wish, {otto}).status, 409);
    EXPECT_EQ(ask("PUT", route + "?override=true", wish, {otto}).status, 409);
    EXPECT_EQ(ask("PUT", route, wish, {anna}).status, 200);
    EXPECT_EQ(ask("PUT", route + "?override=maybe", wish, {anna}).status, 422);
    EXPECT_EQ(ask("DELETE", lock, "", {anna}).status, 204);
    EXPECT_EQ(ask("DELETE", lock, "", {anna}).status, 404);
    EXPECT_EQ(ask("PUT", kApi + "/locks/TX-0001", "{}", {anna}).status, 422);
    EXPECT_EQ(ask("PUT", kApi + "/locks/RX-0009", "{}", {anna}).status, 404);
    EXPECT_EQ(ask("PUT", lock, "", {otto}).status, 201);
    EXPECT_EQ(ask("PUT", route, wish, {anna}).status, 409);
    EXPECT_EQ(ask("PUT", route + "?override=true", wish, {anna}).status, 200);
}

TEST_F(GatewayFleet, tells_what_changed_between_a_read_and_the_stream) {
    const avoip::Json read = avoip::Json_parse(ask("GET", kApi + "/routes").body);
    const std::string id =
        avoip::Json_text(read.get(), "epoch").value_or("") + ":" +
        std::to_string(avoip::Json_whole(avoip::Json_find(read.get(), "revision")).value_or(-1));
    ask("PUT", kApi + "/routes/video/RX-0002", R"({"encoder":"TX-0002"})");
    bed::Http stream(kGatewayPort);
    stream.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\nLast-Event-ID: " + id +
                "\r\n\r\n");
    const std::string told = stream.await(
        "event: route\ndata: {\"kind\":\"video\",\"decoder\":\"RX-0002\",\"encoder\":\"TX-0002\"");
    EXPECT_EQ(told.find("event: reset"), std::string::npos);
}

TEST_F(GatewayFleet, shows_that_the_daemon_is_gone_and_that_it_is_back) {
    EXPECT_EQ(ask("GET", "/healthz/ready").status, 200);
    daemon->stop(SIGKILL);
    awaitIn(kApi + "/system", R"("daemon":{"state":"absent")");
    EXPECT_EQ(ask("GET", "/healthz/ready").status, 503);
    EXPECT_NE(ask("GET", "/metrics").body.find("\navoip_up 0\n"), std::string::npos);
    EXPECT_EQ(ask("PUT", kApi + "/routes/video/RX-0001", R"({"encoder":"TX-0001"})").status, 503);
    daemon = std::make_unique<bed::Daemon>();
    awaitIn(kApi + "/system", R"("daemon":{"state":"ok")");
    awaitIn("/metrics", "\navoip_up 1\n");
}

TEST_F(GatewayFleet, serves_on_a_socket_for_the_group_alone) {
    gateway->stop(SIGTERM);
    const std::string path = folder + "/socket";
    configure("[http]\nlisten = [\"127.0.0.1:8088\", \"unix:" + path + "\"]\n");
    for (int round = 0; round < 2; ++round) {
        start();
        struct stat facts {};
        ASSERT_EQ(::stat(path.c_str(), &facts), 0);
        EXPECT_EQ(facts.st_mode & 0777U, 0660U);
        gateway->stop(SIGKILL);
    }
}

}  // namespace
