// The gateway with the daemon and simulated devices: their settings, walls and images, and what is
// refused before anything is sent.
#include <span>

#include "gateway_fleet_bed.hpp"

namespace {

/// A call that is refused.
struct Refusal {
    const char* method;
    const char* path;
    const char* body;
    int status;
    const char* field;
};

void expectRefused(std::span<const Refusal> refusals) {
    for (const Refusal& each : refusals) {
        const bed::HttpAnswer answer =
            bed::ask(kGatewayPort, each.method, kApi + each.path, each.body);
        const avoip::Json tree = avoip::Json_parse(answer.body);
        EXPECT_EQ(answer.status, each.status)
            << each.method << " " << each.path << " " << each.body;
        EXPECT_EQ(avoip::Json_text(tree.get(), "field").value_or(""), each.field)
            << each.method << " " << each.path << " " << each.body << ": " << answer.body;
    }
}

TEST_F(GatewayFleet, refuses_what_devices_and_the_console_cannot_take) {
    constexpr Refusal kRefusals[] = {
        {"PATCH", "/devices/RX-0001", R"({"alias":"a!b"})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":"a\nb"})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":"Brexit"})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":" a"})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":"a\u0000b"})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":"12345678901234567890123456789012"})", 422,
         "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":""})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({})", 422, "alias"},
        {"PATCH", "/devices/RX-0001", R"({"alias":"a","b":1})", 422, "b"},
        {"PATCH", "/devices/a%20b", R"({"alias":"a"})", 422, "id"},
        {"PATCH", "/devices/a%25b", R"({"alias":"a"})", 422, "id"},
        {"PATCH", "/devices/RX-0009", R"({"alias":"a"})", 404, "id"},
        {"PUT", "/devices/TX-0001/parameters", R"({"bitrate":"9999999"})", 422, "bitrate"},
        {"PUT", "/devices/TX-0001/parameters", R"({"bitrate":4000})", 422, "bitrate"},
        {"PUT", "/devices/TX-0001/parameters", R"({"luma":"1"})", 422, "luma"},
        {"PUT", "/devices/RX-0001/network", R"({"devaddr":"10.77"})", 422, "devaddr"},
        {"PUT", "/devices/RX-0001/serial", R"({"parity":"a b"})", 422, "parity"},
        {"GET", "/devices/TX-0001/edid", "", 422, "id"},
        {"PUT", "/devices/RX-0001/edid", R"({"edid":"AAAA"})", 422, "id"},
        {"PUT", "/devices/TX-0001/edid", R"({"edid":"@"})", 422, "edid"},
        {"POST", "/devices/RX-0001/serial/data", R"({"data":"@"})", 422, "data"},
        {"POST", "/devices/RX-0001/factory-reset", R"({"confirm":"RX-0002"})", 422, "confirm"},
        {"PUT", "/routes/video/RX-0001", R"({"encoder":"a b"})", 422, "encoder"},
        {"PUT", "/routes/video/RX-0001", R"({"encoder":"RX-0002"})", 422, "encoder"},
        {"POST", "/routes", R"({"video":{"RX-0001":"TX-0009"}})", 404, "video.RX-0001"},
        {"POST", "/routes", R"({"video":{"all":"TX-0001","RX-0001":"TX-0001"}})", 422,
         "video.RX-0001"},
        {"POST", "/routes", R"({"ir":{"all":"TX-0001"}})", 422, "ir.all"},
        {"POST", "/routes", R"({"audio":{}})", 422, "audio"},
        {"PUT", "/presets/p", R"({"routes":{"video":{"a!b":null}}})", 422, "routes.video.a!b"},
        {"PUT", "/presets/p", R"({"capture":{"decoders":["RX-0009"]}})", 404, "capture.decoders"},
        {"PUT", "/presets/p", R"({})", 422, "routes"},
    };
    expectRefused(kRefusals);
    EXPECT_EQ(ask("GET", kApi + "/presets").body.find("\"name\""), std::string::npos);
}

TEST_F(GatewayFleet, changes_a_part_of_the_settings_and_gives_what_the_device_says_then) {
    EXPECT_EQ(ask("PUT", kApi + "/devices/RX-0001/serial", R"({"baudrate":"9600"})").body,
              R"({"baudrate":"9600","databits":"8","parity":"none","stopbits":"1",)"
              R"("confirmed":true})");
    EXPECT_EQ(ask("GET", kApi + "/devices/RX-0001/serial").body,
              R"({"baudrate":"9600","databits":"8","parity":"none","stopbits":"1"})");
    EXPECT_TRUE(ask("PUT", kApi + "/devices/TX-0001/parameters", R"({"bitrate":"6000"})")
                    .body.starts_with(R"({"enctype":"H264","encres":"1920x1080","fps":"30",)"
                                      R"("ratecontrol":"CBR","bitrate":"6000",)"));
    EXPECT_TRUE(ask("GET", kApi + "/devices/RX-0001/parameters")
                    .body.starts_with(R"({"luma":"50","contrast":"50","hue":"50",)"
                                      R"("saturation":"50","videoformat":"0",)"));
    EXPECT_TRUE(ask("GET", kApi + "/devices/RX-0001/network")
                    .body.starts_with(R"({"hdcpserver":"0","static":"1","devaddr":"10.77.1.)"));
    const std::string named = ask("PATCH", kApi + "/devices/RX-0001", R"({"alias":"Saal 2"})").body;
    EXPECT_NE(named.find(R"("alias":"Saal 2")"), std::string::npos) << named;
    EXPECT_TRUE(named.ends_with(R"("confirmed":true})")) << named;
}

TEST_F(GatewayFleet, carries_edids_as_bytes_and_as_json) {
    const std::string bytes =
        ask("GET", kApi + "/devices/RX-0001/edid", "", {"Accept: application/octet-stream"}).body;
    EXPECT_EQ(bytes.size(), 256U);
    const std::string json = ask("GET", kApi + "/devices/RX-0001/edid").body;
    EXPECT_TRUE(json.starts_with(R"({"edid":"AP///////w)")) << json;
    EXPECT_NE(json.find(R"("decoded":{"manufacturer":"SIM")"), std::string::npos) << json;
    EXPECT_TRUE(
        json.ends_with(R"("preferred_mode":"1920x1080 at 60.00 Hz","checksum_is_right":true}})"))
        << json;
    const bed::HttpAnswer given = ask("PUT", kApi + "/devices/TX-0001/edid", bytes,
                                      {"Content-Type: application/octet-stream"});
    EXPECT_EQ(given.status, 200);
    // No encoder tells its EDID.
    EXPECT_TRUE(given.body.ends_with(R"("confirmed":false})")) << given.body;
}

TEST_F(GatewayFleet, says_of_an_edid_without_bytes_that_it_has_none) {
    const bed::HttpAnswer answer =
        ask("PUT", kApi + "/devices/TX-0001/edid", "", {"Content-Type: application/octet-stream"});
    EXPECT_EQ(answer.status, 422);
    EXPECT_EQ(member(answer, "field"), "edid");
    EXPECT_EQ(member(answer, "detail"), "The EDID holds no bytes; it is made of blocks of 128.");
}

TEST_F(GatewayFleet, sends_what_is_taken_on_and_not_seen_to_be_done) {
    const std::string device = kApi + "/devices/RX-0001";
    EXPECT_EQ(ask("POST", device + "/serial/data", R"({"data":"SGVsbG8="})").status, 202);
    EXPECT_EQ(ask("POST", device + "/identify").status, 202);
    EXPECT_EQ(ask("POST", device + "/reboot").status, 202);
    EXPECT_EQ(
        ask("POST", kApi + "/devices/RX-0002/factory-reset", R"({"confirm":"RX-0002"})").status,
        202);
}

TEST_F(GatewayFleet, routes_one_encoder_to_all_decoders_by_one_command) {
    const auto all = [](const std::string& kind, const std::string& encoder) {
        std::string results;
        for (const char* const decoder : {"RX-0001", "RX-0002"}) {
            results += std::string(results.empty() ? "" : ",") + R"({"kind":")" + kind +
                       R"(","decoder":")" + decoder + R"(","encoder":)" + encoder +
                       R"(,"ok":true,"confirmed":true,"problem":null})";
        }
        return R"({"results":[)" + results + "]}";
    };
    const std::string path = kApi + "/routes";
    EXPECT_EQ(ask("POST", path, R"({"video":{"all":"TX-0001"}})").body,
              all("video", "\"TX-0001\""));
    EXPECT_EQ(ask("POST", path, R"({"video":{"all":null}})").body, all("video", "null"));
    EXPECT_EQ(ask("POST", path, R"({"serial":{"all":"TX-0002"}})").body,
              all("serial", "\"TX-0002\""));
    EXPECT_EQ(ask("POST", path, R"({"serial":{"all":null}})").body, all("serial", "null"));
}

TEST_F(GatewayFleet, puts_a_wall_together_and_takes_it_apart) {
    const std::string path = kApi + "/walls/front";
    const std::string head =
        R"({"encoder":"TX-0001","columns":2,"rows":1,"width":3841,"height":99,)";
    const bed::HttpAnswer made =
        ask("PUT", path, head + R"("tiles":[{"decoder":"RX-0002","column":1,"row":0}]})");
    EXPECT_EQ(made.status, 201);
    EXPECT_EQ(made.body, R"({"name":"front",)" + head.substr(1) +
                             R"("bezel":{"horizontal":0,"vertical":0},"tiles":[{"decoder":)"
                             R"("RX-0002","column":1,"row":0,"computed":{"x":1920,"y":0,)"
                             R"("horcut":0,"vercut":0}}]})");
    EXPECT_EQ(ask("PUT", path, made.body).status, 200);
    EXPECT_EQ(ask("PUT", kApi + "/walls/back", made.body).status, 422);
    EXPECT_EQ(ask("PUT", kApi + "/walls/back",
                  head + R"("tiles":[{"decoder":"RX-0002","column":0,"row":0}]})")
                  .status,
              409);
    EXPECT_EQ(ask("PUT", kApi + "/walls/back",
                  head + R"("tiles":[{"decoder":"RX-0001","column":0,"row":0},)"
                         R"({"decoder":"RX-0002","column":0,"row":0}]})")
                  .status,
              422);
    EXPECT_EQ(ask("DELETE", path).status, 204);
    EXPECT_EQ(ask("GET", path).status, 404);
}

TEST_F(GatewayFleet, installs_an_image_and_says_that_a_restart_interrupted) {
    const std::string file = folder + "/rx.bin";
    bed::DaemonOptions maker;
    maker.program = AVOIPSIM_PATH;
    maker.arguments = {"--make-image",    file,    "--image-name", "Video-RX",
                       "--image-version", "2.0.1", "--image-size", "100000"};
    ASSERT_EQ(bed::Daemon(maker).awaitExit(), (bed::Exit{false, 0}));
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    const std::vector<std::string> type = {"Content-Type: application/octet-stream"};
    const bed::HttpAnswer image = ask("POST", kApi + "/firmware", bytes, type);
    EXPECT_EQ(image.status, 201);
    EXPECT_EQ(ask("POST", kApi + "/firmware", bytes, type).status, 200);
    EXPECT_EQ(ask("POST", kApi + "/firmware", "no image", type).status, 422);
    const std::string path = kApi + "/firmware/" + member(image, "id");
    EXPECT_EQ(member(image, "version"), "2.0.1");
    EXPECT_EQ(ask("POST", path + "/installations", R"({"devices":["TX-0001"]})").status, 422);

    const bed::HttpAnswer job = ask("POST", path + "/installations", R"({"devices":["RX-0001"]})");
    EXPECT_EQ(job.status, 202);
    EXPECT_EQ(ask("DELETE", path).status, 409);
    awaitIn(kApi + "/jobs/" + member(job, "id"),
            R"("state":"done","problem":null,"devices":[{"id":"RX-0001","state":"confirmed",)"
            R"("version_before":"1.0.0","version_after":"2.0.1")");
    EXPECT_EQ(ask("DELETE", kApi + "/jobs/" + member(job, "id")).status, 204);
    EXPECT_EQ(ask("GET", kApi + "/jobs/" + member(job, "id")).status, 404);

    const bed::HttpAnswer cut = ask("POST", path + "/installations", R"({"devices":["RX-0002"]})");
    gateway->stop(SIGKILL);
    start();
    awaitIn(kApi + "/jobs/" + member(cut, "id"),
            R"("state":"failed","problem":"The gateway ended during this job.")");
    EXPECT_EQ(ask("DELETE", path).status, 204);
}

}  // namespace
