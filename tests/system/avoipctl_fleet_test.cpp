// What avoipctl makes of several commands: names, single values, walls, presets and updates, with
// the daemon and a fleet of simulated devices.
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "avoipctl_bed.hpp"
#include "bed/image_file.hpp"
#include "fleet_bed.hpp"
#include "gtest/gtest.h"
#include "terminal.hpp"

namespace {

class AvoipctlOfFleet : public Avoipctl {
  protected:
    explicit AvoipctlOfFleet(std::vector<std::string> faults = {}) : system(std::move(faults)) {}

    static std::string contentOf(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    DaemonAndFleet system;
};

/// Uploads that take long enough for each other.
class AvoipctlSlowUploads : public AvoipctlOfFleet {
  protected:
    AvoipctlSlowUploads()
        : AvoipctlOfFleet({"--upload-answer-after", "6000", "--reboot-time", "100"}) {}

    const bed::ImageFile file{{.name = "Video-TX-RX", .size = bed::kWholeImage}};
    const std::string& image = file.path();
};

}  // namespace

TEST_F(AvoipctlOfFleet, takes_an_alias_for_the_identity_when_one_device_has_it) {
    ASSERT_EQ(run({"alias", "set", "TX-0001", "Meeting room 2"}).status, 0);
    EXPECT_EQ(run({"matrix", "set", "Meeting room 2", "RX-0002", "--verify"}),
              (Outcome{0, "Sent: confirmed.\n", ""}));
    EXPECT_EQ(run({"matrix", "get", "RX-0002"}).output, "decoder  RX-0002\nencoder  TX-0001\n");
    // A decoder of the same name is never meant where an encoder stands.
    ASSERT_EQ(run({"alias", "set", "RX-0001", "Meeting room 2"}).status, 0);
    EXPECT_EQ(run({"matrix", "set", "Meeting room 2", "Meeting room 2", "--verify"}).output,
              "Sent: confirmed.\n");
    EXPECT_EQ(run({"device", "showme", "Meeting room 2"}),
              (Outcome{2, "",
                       "avoipctl: \"Meeting room 2\" is the alias of several devices: RX-0001, "
                       "TX-0001. Type the identity of one. Nothing was sent.\n"}));
    EXPECT_EQ(run({"matrix", "set", "No such room", "RX-0001"}),
              (Outcome{2, "",
                       "avoipctl: \"No such room\" is the alias of no device, and an identity must "
                       "not hold blanks, which end a word of the command. Nothing was sent.\n"}));
}

TEST_F(AvoipctlOfFleet, changes_one_value_and_leaves_the_others) {
    const std::string before = run({"encoder", "get", "TX-0001"}).output;
    EXPECT_EQ(run({"encoder", "set", "TX-0001", "--bitrate", "8000", "--verify"}),
              (Outcome{0, "bitrate: 4000 -> 8000\nSent: confirmed.\n", ""}));
    std::string after = before;
    after.replace(after.find("4000"), 4, "8000");
    EXPECT_EQ(run({"encoder", "get", "TX-0001"}).output, after);

    EXPECT_EQ(run({"decoder", "set", "RX-0001", "--luma", "60", "--hue", "40", "--verify"}).output,
              "luma: 50 -> 60\nhue: 50 -> 40\nSent: confirmed.\n");
    EXPECT_EQ(run({"net", "set", "RX-0001", "--gateway", "10.77.0.9", "--verify"}).output,
              "gateway: 10.77.0.1 -> 10.77.0.9\nSent: confirmed.\n");
    EXPECT_EQ(run({"serial", "set", "RX-0001", "--baudrate", "9600", "--verify"}).output,
              "baudrate: 115200 -> 9600\nSent: confirmed.\n");
    EXPECT_EQ(run({"encoder", "set", "TX-0001", "H265", "--bitrate", "8000"}).status, 2);
    EXPECT_EQ(run({"encoder", "set", "TX-0001", "H265"}).errors,
              "avoipctl: encres is required\nRun avoipctl --help for help.\n");
    EXPECT_EQ(run({"encoder", "set", "TX-0001", "--bitrate", "1"}).status, 2);
}

TEST_F(AvoipctlOfFleet, computes_the_tiles_of_a_wall_and_draws_it) {
    const std::string drawn =
        "+---------+---------+\n"
        "| RX-0001 | RX-0002 |\n"
        "+---------+---------+\n"
        "| RX-0003 | RX-0004 |\n"
        "+---------+---------+\n";
    EXPECT_EQ(run({"wall", "grid", "2x2", "TX-0001", "RX-0001", "RX-0002", "RX-0003", "RX-0004",
                   "--bezel", "40x30"}),
              (Outcome{0, drawn + "Sent.\n", ""}));
    EXPECT_EQ(run({"wall", "show"}).output,
              "TX-0001, 3880x2190\n" + drawn +
                  "\nAs set from here; devices cannot be asked for their tiles.\n");
    EXPECT_NE(run({"wall", "show", "--json"})
                  .output.find(
                      R"({"wigth":"3880","height":"2190","horcut":"40","vercut":"30","column":"1",)"
                      R"("row":"1","x":"1960","y":"1110","txid":"TX-0001","deviceid":"RX-0004"})"),
              std::string::npos);
    EXPECT_EQ(
        run({"wall", "grid", "2x2", "TX-0001", "RX-0001"}),
        (Outcome{2, "", "avoipctl: A wall of 2x2 has 4 decoders, not 1. Nothing was sent.\n"}));
    EXPECT_EQ(run({"wall", "grid", "2by2", "TX-0001", "RX-0001"}).status, 2);
    EXPECT_EQ(run({"wall", "grid", "1x2", "TX-0001", "RX-0001", "RX-0001"}).errors,
              "avoipctl: \"RX-0001\" stands in the wall twice. Nothing was sent.\n");
}

TEST_F(AvoipctlOfFleet, saves_routes_and_loads_them_again) {
    system.route();
    const std::string path = folder + "/preset";
    EXPECT_EQ(run({"routes", "save", path, "--kind", "serial"}),
              (Outcome{0, "Saved: 4 routes.\n", ""}));
    EXPECT_EQ(run({"routes", "save", path}), (Outcome{0, "Saved: 4 routes.\n", ""}));
    EXPECT_EQ(contentOf(path),
              "# Routes, saved by avoipctl: kind, encoder (- for none), decoder.\n"
              "video TX-0001 RX-0001\n"
              "video TX-0002 RX-0002\n"
              "video TX-0003 RX-0003\n"
              "video TX-0004 RX-0004\n");
    ASSERT_EQ(run({"matrix", "set-all", "TX-0004", "--yes"}).status, 0);
    std::ofstream(path) << "# two\nvideo TX-0001 RX-0001\n\nvideo - RX-0002\n";
    EXPECT_EQ(run({"routes", "load", path, "--verify"}),
              (Outcome{0,
                       "matrix set TX-0001 RX-0001!  Sent: confirmed.\n"
                       "matrix clear RX-0002!  Sent: confirmed.\n",
                       ""}));
    std::ofstream(path) << "video TX-0001 RX-0001\nsound TX-0001 RX-0002\n";
    EXPECT_EQ(run({"routes", "load", path}),
              (Outcome{2, "",
                       "avoipctl: The preset " + path +
                           ", line 2: \"sound\" is none of video, serial and ir. Nothing was "
                           "sent.\n"}));
    EXPECT_EQ(run({"routes", "load", folder + "/none"}).status, 2);
    EXPECT_EQ(run({"routes", "save", "/dev/null/none"}).status, 2);
}

TEST_F(AvoipctlSlowUploads, runs_uploads_side_by_side) {
    const Outcome outcome = run({"update", "TX-0001", "TX-0002", image});
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_TRUE(
        outcome.output.ends_with("IDENTITY  BEFORE  AFTER  RESULT\n"
                                 "TX-0001   1.0.0   1.2.6  updated\n"
                                 "TX-0002   1.0.0   1.2.6  updated\n"))
        << outcome;
    // All had begun before any was done.
    const std::size_t last = outcome.output.rfind("uploading to");
    EXPECT_LT(last, outcome.output.find(": done")) << outcome;
}

TEST_F(AvoipctlSlowUploads, says_at_ctrl_c_that_the_upload_goes_on) {
    Terminal terminal(folder, {.arguments = {"update", "encoder", "TX-0001", image}});
    bed::awaitCondition("the upload", [&] {
        return !contentOf("/proc/thread-self/net/tcp").empty() &&
               contentOf("/proc/thread-self/net/tcp").find(":1700 01") != std::string::npos;
    });
    terminal.type("\x03");
    terminal.await("Interrupted. The upload goes on; do not switch the device off.\n");
    EXPECT_EQ(terminal.awaitEnd(), -SIGINT);
}

TEST_F(AvoipctlSlowUploads, sends_nothing_where_one_of_the_devices_is_not_there) {
    const Outcome outcome = run({"update", "TX-0001", "TX-0009", image});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors,
              "avoipctl: The device \"TX-0009\" is not among those that answer: see 'avoipctl "
              "devices'. Nothing was sent.\n");
}
