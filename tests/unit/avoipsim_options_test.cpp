// The command line: what it means, and what it refuses.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "avoipsim/options.hpp"

namespace avoip::sim {
namespace {

using namespace std::chrono_literals;

struct Parsed {
    std::optional<Options> options;
    int exitStatus = -1;
    std::string output;
    std::string errors;
};

Parsed parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "avoipsim");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size());
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    Parsed parsed;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    parsed.options =
        Options_parse(static_cast<int>(pointers.size()), pointers.data(), parsed.exitStatus);
    parsed.output = testing::internal::GetCapturedStdout();
    parsed.errors = testing::internal::GetCapturedStderr();
    return parsed;
}

TEST(AvoipsimOptions, without_any_there_is_a_small_fleet_without_faults) {
    const Parsed parsed = parse({});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->fleet.encoders, 4);
    EXPECT_EQ(parsed.options->fleet.decoders, 6);
    EXPECT_EQ(parsed.options->interface, "dev0");
    EXPECT_EQ(parsed.options->fleet.firstAddress, "10.77.1.1");
    EXPECT_EQ(parsed.options->fleet.rebootTime, 2000ms);
    EXPECT_EQ(parsed.options->fleet.spacing, 200us);
    EXPECT_EQ(parsed.options->logFile, "");
}

TEST(AvoipsimOptions, each_reaches_its_place) {
    const Parsed parsed =
        parse({"--encoders",     "0",         "--decoders",      "3",
               "--interface",    "eth9",      "--first-address", "1.2.3.4",
               "--netmask",      "255.0.0.0", "--gateway",       "1.2.3.1",
               "--state",        "a",         "--save-state",    "b",
               "--log",          "-",         "--reboot-time",   "10",
               "--spacing",      "20",        "--seed",          "30",
               "--loss",         "0.1",       "--duplicate",     "0.2",
               "--wrong-hostid", "0.3",       "--failed",        "0.4",
               "--missing-key",  "0.5",       "--not-json",      "0.6",
               "--delay",        "7-8",       "--silent",        "RX-0001,RX-0002"});
    ASSERT_TRUE(parsed.options) << parsed.errors;
    const FleetOptions& fleet = parsed.options->fleet;
    EXPECT_EQ(fleet.encoders, 0);
    EXPECT_EQ(fleet.decoders, 3);
    EXPECT_EQ(parsed.options->interface, "eth9");
    EXPECT_EQ(fleet.firstAddress, "1.2.3.4");
    EXPECT_EQ(fleet.netmask, "255.0.0.0");
    EXPECT_EQ(fleet.gateway, "1.2.3.1");
    EXPECT_EQ(parsed.options->stateFile, "a");
    EXPECT_EQ(parsed.options->saveStateFile, "b");
    EXPECT_EQ(parsed.options->logFile, "-");
    EXPECT_EQ(fleet.rebootTime, 10ms);
    EXPECT_EQ(fleet.spacing, 20us);
    EXPECT_EQ(fleet.faults.seed, 30U);
    EXPECT_EQ(fleet.faults.loss, 0.1);
    EXPECT_EQ(fleet.faults.duplicate, 0.2);
    EXPECT_EQ(fleet.faults.wrongHostid, 0.3);
    EXPECT_EQ(fleet.faults.failed, 0.4);
    EXPECT_EQ(fleet.faults.missingKey, 0.5);
    EXPECT_EQ(fleet.faults.notJson, 0.6);
    EXPECT_EQ(fleet.faults.delayMin_ms, 7);
    EXPECT_EQ(fleet.faults.delayMax_ms, 8);
    EXPECT_EQ(fleet.faults.silent, (std::vector<std::string>{"RX-0001", "RX-0002"}));
}

TEST(AvoipsimOptions, those_of_uploads_and_images_reach_their_place) {
    const Parsed parsed = parse({"--store-images",
                                 "a",
                                 "--upload-fault-devices",
                                 "TX-0001,TX-0002",
                                 "--upload-refuse",
                                 "--upload-close-after",
                                 "1",
                                 "--upload-stop-after",
                                 "2",
                                 "--upload-answer-after",
                                 "3",
                                 "--upload-no-answer",
                                 "--make-image",
                                 "b",
                                 "--image-name",
                                 "Video-TX-2",
                                 "--image-version",
                                 "1.2.6",
                                 "--image-size",
                                 "4"});
    ASSERT_TRUE(parsed.options) << parsed.errors;
    const UploadOptions& upload = parsed.options->upload;
    EXPECT_EQ(upload.storeFolder, "a");
    EXPECT_EQ(upload.faultDevices, (std::vector<std::string>{"TX-0001", "TX-0002"}));
    EXPECT_TRUE(upload.refuse);
    EXPECT_EQ(upload.closeAfter, 1U);
    EXPECT_EQ(upload.stopAfter, 2U);
    EXPECT_EQ(upload.answerAfter_ms, 3);
    EXPECT_TRUE(upload.noAnswer);
    EXPECT_EQ(parsed.options->image.path, "b");
    EXPECT_EQ(parsed.options->image.name, "Video-TX-2");
    EXPECT_EQ(parsed.options->image.version, "1.2.6");
    EXPECT_EQ(parsed.options->image.size, 4);
}

TEST(AvoipsimOptions, a_delay_may_be_one_number) {
    const Parsed parsed = parse({"--delay", "25"});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->fleet.faults.delayMin_ms, 25);
    EXPECT_EQ(parsed.options->fleet.faults.delayMax_ms, 25);
}

TEST(AvoipsimOptions, help_ends_with_success) {
    const Parsed parsed = parse({"--help"});
    EXPECT_FALSE(parsed.options);
    EXPECT_EQ(parsed.exitStatus, 0);
    EXPECT_NE(parsed.output.find("--wrong-hostid"), std::string::npos);
}

TEST(AvoipsimOptions, nonsense_is_refused_on_standard_error) {
    const std::vector<std::vector<std::string>> lines = {
        {"--nonsense"},
        {"--encoders"},
        {"--encoders", "many"},
        {"--encoders", "-1"},
        {"--encoders", "1025"},
        {"--encoders", "0", "--decoders", "0"},
        {"--encoders", "1000", "--decoders", "25"},
        {"--first-address", "10.77.1.256"},
        {"--loss", "1.5"},
        {"--not-json", "-0.1"},
        {"--delay", "8-7"},
        {"--delay", "7-"},
        {"--delay", "-7"},
        {"--delay", "soon"},
        {"--reboot-time", "-1"},
        {"--seed", "-1"},
        {"--upload-close-after", "-1"},
        {"--upload-stop-after", "-1"},
        {"--image-name", std::string(65, 'x')},
        {"--image-version", "1.2"},
        {"--image-size", "-1"},
    };
    for (const auto& line : lines) {
        const Parsed parsed = parse(line);
        EXPECT_FALSE(parsed.options) << line[0];
        EXPECT_EQ(parsed.exitStatus, kExitUsage) << line[0];
        EXPECT_NE(parsed.errors, "") << line[0];
        EXPECT_EQ(parsed.output, "") << line[0];
    }
}

TEST(AvoipsimOptions, the_version_is_printed) {
    const Parsed parsed = parse({"--version"});
    EXPECT_FALSE(parsed.options);
    EXPECT_EQ(parsed.exitStatus, 0);
    EXPECT_EQ(parsed.output, "avoipsim " AVOIP_VERSION "\n");
}

TEST(AvoipsimOptions, a_fleet_of_the_wrong_size_is_told_how_large_it_may_be) {
    const Parsed parsed = parse({"--encoders", "1000", "--decoders", "25"});
    EXPECT_NE(parsed.errors.find("a fleet has 1 to 1024 devices, not 1025"), std::string::npos)
        << parsed.errors;
}

}  // namespace

}  // namespace avoip::sim
