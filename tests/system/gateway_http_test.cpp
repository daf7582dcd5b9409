// The gateway's HTTP face, beside what devices say.
#include <cstdlib>

#include "bed/wait.hpp"
#include "gateway_bed.hpp"

namespace {

const std::string kApi = "/api/v1";

struct Refusal {
    std::string name;
    std::string method;
    std::string path;
    std::string body;
    std::vector<std::string> headers;
    int status;
    std::string field = {};
};

class GatewayRefuses : public GatewayBed, public testing::WithParamInterface<Refusal> {};

TEST_P(GatewayRefuses, with_a_problem_that_says_why) {
    start();
    const Refusal& refusal = GetParam();
    const bed::HttpAnswer answer = ask(refusal.method, refusal.path, refusal.body, refusal.headers);
    EXPECT_EQ(answer.status, refusal.status) << answer.body;
    EXPECT_EQ(answer.headers.at("content-type"), "application/problem+json");
    const avoip::Json problem = avoip::Json_parse(answer.body);
    EXPECT_EQ(avoip::Json_whole(avoip::Json_find(problem.get(), "status")), refusal.status);
    for (const char* const key : {"type", "title", "detail"}) {
        EXPECT_NE(avoip::Json_text(problem.get(), key), std::nullopt) << answer.body;
    }
    EXPECT_EQ(avoip::Json_text(problem.get(), "field").value_or(""), refusal.field) << answer.body;
}

const std::string kPreset = R"({"routes":{"video":{"rx1":"tx1"}}})";

INSTANTIATE_TEST_SUITE_P(
    Table, GatewayRefuses,
    testing::Values(
        Refusal{"unknown_path", "GET", "/api/v1/nothing", "", {}, 404},
        Refusal{"unknown_preset", "GET", "/api/v1/presets/none", "", {}, 404},
        Refusal{"wrong_method", "POST", "/api/v1/devices", "", {}, 405},
        Refusal{"no_json", "PUT", "/api/v1/presets/a", "{", {}, 400},
        Refusal{"zero_in_front", "PUT", "/api/v1/walls/a", R"({"columns":02})", {}, 400},
        Refusal{"point_behind", "PUT", "/api/v1/walls/a", R"({"columns":2.})", {}, 400},
        Refusal{"no_exponent", "PUT", "/api/v1/walls/a", R"({"columns":2e+})", {}, 400},
        Refusal{"raw_tab", "PUT", "/api/v1/presets/a", "{\"note\":\"a\tb\"}", {}, 400},
        Refusal{"control", "PUT", "/api/v1/presets/a", "\x01{\"routes\":{}}", {}, 400},
        Refusal{"byte_order_mark", "PUT", "/api/v1/presets/a", "\xEF\xBB\xBF{}", {}, 400},
        Refusal{"trailing_letters", "PUT", "/api/v1/presets/a", kPreset + "x", {}, 400},
        Refusal{"no_utf8", "PUT", "/api/v1/presets/a", "{\"note\":\"\xff\"}", {}, 400},
        Refusal{"member_twice",
                "PUT",
                "/api/v1/rooms/a",
                R"({"name":"a","name":"a"})",
                {},
                400,
                "name"},
        Refusal{"deep", "PUT", "/api/v1/presets/a", std::string(5000, '['), {}, 400},
        Refusal{"no_object", "PUT", "/api/v1/presets/a", "[]", {}, 422},
        Refusal{"unknown_member",
                "PUT",
                "/api/v1/presets/a",
                R"({"routes":{},"more":1})",
                {},
                422,
                "more"},
        Refusal{
            "nul", "PUT", "/api/v1/rooms/a", R"({"decoders":["a\u0000b"]})", {}, 422, "decoders"},
        Refusal{"long_name",
                "PUT",
                "/api/v1/presets/" + std::string(65, 'a'),
                kPreset,
                {},
                422,
                "name"},
        Refusal{"slash_in_name", "PUT", "/api/v1/presets/a%2Fb", kPreset, {}, 422, "name"},
        Refusal{"control_in_name", "PUT", "/api/v1/presets/a%0Ab", kPreset, {}, 422, "name"},
        Refusal{"bad_escape", "GET", "/api/v1/presets/a%zz", "", {}, 400},
        Refusal{"other_type", "PUT", "/api/v1/presets/a", "{}", {"Content-Type: text/plain"}, 415},
        Refusal{"image_as_json", "POST", "/api/v1/firmware", "{}", {}, 415},
        Refusal{"no_image",
                "POST",
                "/api/v1/firmware",
                "abc",
                {"Content-Type: application/octet-stream"},
                422},
        Refusal{"large_body", "PUT", "/api/v1/presets/a", std::string((1 << 20) + 1, ' '), {}, 413},
        Refusal{
            "large_headers", "GET", "/api/v1/system", "", {"X-A: " + std::string(17000, 'a')}, 431},
        Refusal{"foreign_host", "GET", "/api/v1/system", "", {"Host: rebound.example:8088"}, 403},
        Refusal{"foreign_origin", "POST", "/api/v1/users", "{}", {"Origin: http://other"}, 403},
        Refusal{"wrong_token", "GET", "/api/v1/system", "", {"Authorization: Bearer x"}, 401},
        Refusal{"nobody_logged_in", "GET", "/api/v1/session", "", {}, 401},
        Refusal{"bad_parameter", "GET", "/api/v1/log?limit=1001", "", {}, 422, "limit"},
        Refusal{"unknown_parameter", "GET", "/api/v1/devices?sort=id", "", {}, 422, "sort"},
        Refusal{"unknown_parameter_of_events", "GET", "/api/v1/events?x=1", "", {}, 422, "x"},
        Refusal{"unknown_parameter_of_a_change", "PUT", "/api/v1/rooms/a?x=1", "{}", {}, 422, "x"},
        Refusal{"parameter_twice",
                "GET",
                "/api/v1/devices?type=encoder&type=decoder",
                "",
                {},
                422,
                "type"},
        Refusal{"bad_filter", "GET", "/api/v1/devices?type=tv", "", {}, 422, "type"},
        Refusal{"daemon_away", "GET", "/healthz/ready", "", {}, 503}),
    [](const auto& each) { return each.param.name; });

class GatewayHttp : public GatewayBed {};

TEST_F(GatewayHttp, says_which_methods_a_path_has) {
    start();
    EXPECT_EQ(ask("BREW", kApi + "/presets/a").headers.at("allow"), "GET, HEAD, PUT, DELETE");
}

TEST_F(GatewayHttp, answers_head_as_get_without_the_body_and_keeps_the_connection) {
    start();
    // Without a revision: the daemon is found to be absent at any moment.
    const std::string path = kApi + "/presets/a";
    ask("PUT", path, kPreset);
    bed::Http http(kGatewayPort);
    const bed::HttpAnswer get = http.ask("GET", path);
    const bed::HttpAnswer head = http.ask("HEAD", path);
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.headers.at("content-length"), get.headers.at("content-length"));
    EXPECT_EQ(http.ask("GET", path).body, get.body);
}

TEST_F(GatewayHttp, answers_a_large_body_that_is_only_announced) {
    start();
    bed::Http http(kGatewayPort);
    http.send(
        "POST /api/v1/firmware HTTP/1.1\r\nHost: localhost\r\n"
        "Content-Type: application/octet-stream\r\nContent-Length: 67108865\r\n\r\n");
    EXPECT_EQ(http.receive().status, 413);
}

TEST_F(GatewayHttp, answers_503_beyond_256_connections_and_serves_again_when_there_are_fewer) {
    start();
    std::vector<std::unique_ptr<bed::Http>> held;
    for (int count = 0; count < 256; ++count) {
        held.push_back(std::make_unique<bed::Http>(kGatewayPort));
        ASSERT_EQ(held.back()->ask("GET", "/healthz/live").status, 200) << count;
    }
    bed::Http late(kGatewayPort);
    EXPECT_EQ(late.ask("GET", "/healthz/live").status, 503);
    EXPECT_EQ(late.awaitClosed(), "");
    held.clear();
    bed::awaitCondition("a connection is served again", [] {
        return bed::ask(kGatewayPort, "GET", "/healthz/live").status == 200;
    });
}

TEST_F(GatewayHttp, makes_changes_and_deletes_presets) {
    start();
    const std::string path = kApi + "/presets/M%C3%B6rning";
    EXPECT_EQ(ask("PUT", path, kPreset).status, 201);
    EXPECT_EQ(ask("PUT", path, R"({"routes":{"video":{"rx1":null}},"note":"n"})").status, 200);
    const bed::HttpAnswer preset = ask("GET", path);
    EXPECT_TRUE(preset.body.starts_with(
        "{\"name\":\"M\xC3\xB6rning\",\"note\":\"n\",\"routes\":{\"video\":{\"rx1\":null}},"
        "\"updated_at\":\""))
        << preset.body;
    EXPECT_EQ(ask("DELETE", path).status, 204);
    EXPECT_EQ(ask("DELETE", path).status, 404);
}

TEST_F(GatewayHttp, finds_entries_of_the_log_by_a_text_in_them) {
    start();
    for (const char* const name : {"Hall", "attic", "10%25", "hall_2"}) {
        ASSERT_EQ(ask("PUT", "/api/v1/rooms/" + std::string(name), "{}").status, 201);
    }
    const auto found = [](const std::string& query) {
        const avoip::Json tree = avoip::Json_parse(ask("GET", "/api/v1/log?q=" + query).body);
        std::string targets;
        for (const cJSON* const entry :
             avoip::Json_items(avoip::Json_find(tree.get(), "entries"))) {
            targets += avoip::Json_text(entry, "target").value_or("-") + " ";
        }
        return targets;
    };
    EXPECT_EQ(found("hall"), "hall_2 Hall ");
    EXPECT_EQ(found("hall&limit=1"), "hall_2 ");
    EXPECT_EQ(found("%25"), "10% ");
    EXPECT_EQ(found("_"), "hall_2 ");
    EXPECT_EQ(found("127.0.0.1&limit=2"), "hall_2 10% ");
    EXPECT_EQ(found("nowhere"), "");
    EXPECT_EQ(ask("GET", "/api/v1/log?q=" + std::string(201, 'a')).status, 422);
}

TEST_F(GatewayHttp, keeps_what_it_acknowledged_over_a_kill_at_any_moment) {
    const char* const times = std::getenv("AVOIP_TEST_TIMES");
    const int rounds =
        30 * (times == nullptr ? 1 : static_cast<int>(std::strtol(times, nullptr, 10)));
    std::size_t written = 0;
    for (int round = 0; round < rounds; ++round) {
        start();
        const std::string list = ask("GET", kApi + "/presets").body;
        for (std::size_t each = 0; each < written; ++each) {
            ASSERT_NE(list.find("\"name\":\"p" + std::to_string(each) + "\""), std::string::npos);
        }
        bed::Http http(kGatewayPort);
        for (int each = 0; each <= round % 5; ++each) {
            ASSERT_EQ(
                http.ask("PUT", kApi + "/presets/p" + std::to_string(written), kPreset).status,
                201);
            ++written;
        }
        // One more is on its way when the end comes.
        http.send(
            "PUT /api/v1/presets/q HTTP/1.1\r\nHost: localhost\r\n"
            "Content-Type: application/json\r\nContent-Length: " +
            std::to_string(kPreset.size()) + "\r\n\r\n" + kPreset);
        gateway->stop(SIGKILL);
    }
}

TEST_F(GatewayHttp, says_when_the_disk_is_full_and_loses_nothing_of_before) {
    bed::DaemonOptions limited = options();
    limited.limits = {{RLIMIT_FSIZE, 400'000}};
    start(limited);
    const std::string note(20'000, 'n');
    std::vector<std::string> kept;
    int status = 201;
    for (int each = 0; status == 201 && each < 1000; ++each) {
        const std::string path = kApi + "/presets/p" + std::to_string(each);
        status = ask("PUT", path, R"({"routes":{},"note":")" + note + "\"}").status;
        if (status == 201) {
            kept.push_back(path);
        }
    }
    EXPECT_EQ(status, 507);
    gateway->stop(SIGTERM);
    start();
    for (const std::string& path : kept) {
        EXPECT_EQ(ask("GET", path).status, 200) << path;
    }
}

TEST_F(GatewayHttp, tells_events_goes_on_behind_one_and_resets_where_it_cannot) {
    start();
    const std::string epoch = member(ask("GET", kApi + "/system"), "epoch");
    bed::Http live(kGatewayPort);
    live.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    live.await(":\n\n");
    ask("PUT", kApi + "/presets/a", kPreset);
    live.await("\nevent: preset\ndata: {\"name\":\"a\",");
    // The daemon is found to be absent at any moment.
    const std::string first = live.await("\nevent: log\ndata: {\"id\":");
    const std::size_t log = first.rfind("\nevent: log");
    const std::size_t id = first.rfind("id: " + epoch + ":", log) + 4;
    const std::string last = first.substr(id, log - id);
    ask("DELETE", kApi + "/presets/a");
    live.await("event: preset\ndata: {\"name\":\"a\",\"deleted\":true}\n\n");

    bed::Http again(kGatewayPort);
    again.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\nLast-Event-ID: " + last +
               "\r\n\r\n");
    const std::string told = again.await("\"deleted\":true}\n\n");
    EXPECT_EQ(told.find("event: reset"), std::string::npos);
    EXPECT_EQ(told.find("id: " + last + "\n"), std::string::npos);

    bed::Http lost(kGatewayPort);
    lost.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\nLast-Event-ID: other:2\r\n\r\n");
    lost.await("event: reset\ndata: {");
}

TEST_F(GatewayHttp, counts_changes_since_it_started_and_not_what_it_had_kept) {
    start();
    for (int each = 0; each < 20; ++each) {
        ASSERT_EQ(ask("PUT", kApi + "/presets/" + std::to_string(each), kPreset).status, 201);
    }
    gateway->stop(SIGTERM);
    start();
    const avoip::Json presets = avoip::Json_parse(ask("GET", kApi + "/presets").body);
    // That there is no daemon may be a change already.
    EXPECT_LT(avoip::Json_number(presets.get(), "revision").value(), 20);
}

TEST_F(GatewayHttp, drops_a_client_that_does_not_read_and_no_other) {
    start();
    bed::Http lazy(kGatewayPort);
    bed::Http keen(kGatewayPort);
    for (bed::Http* const each : {&lazy, &keen}) {
        each->send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    }
    keen.await(":\n\n");
    const std::string body = R"({"routes":{},"note":")" + std::string(100'000, 'n') + "\"}";
    bed::Http http(kGatewayPort);
    for (int each = 0; each < 100; ++each) {
        ASSERT_LT(http.ask("PUT", kApi + "/presets/a", body).status, 300);
        keen.await("event: log\n");
    }
    EXPECT_LT(lazy.awaitClosed().size(), 9'000'000U);
    http.ask("DELETE", kApi + "/presets/a");
    keen.await("\"deleted\":true}\n\n");
}

TEST_F(GatewayHttp, ends_at_once_when_it_is_told_to_though_clients_follow) {
    start();
    bed::Http follower(kGatewayPort);
    follower.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    follower.await(":\n\n");
    EXPECT_EQ(gateway->stop(SIGTERM), (bed::Exit{false, 0}));
}

}  // namespace
