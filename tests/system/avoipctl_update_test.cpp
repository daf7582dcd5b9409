// The firmware subcommands of avoipctl.
#include <fstream>
#include <map>
#include <mutex>
#include <string>

#include "avoipctl_bed.hpp"
#include "bed/stand_in.hpp"
#include "gtest/gtest.h"
#include "lib/image/image.hpp"

namespace {

/// Devices of one kind, with versions that updates change.
class Devices {
  public:
    Devices(std::string kind, std::map<std::string, std::string> versions)
        : kind_(std::move(kind)), versions_(std::move(versions)) {}

    std::optional<std::string> answer(const std::string& line) {
        if (line == "config get " + kind_ + "s!") {
            std::string list;
            for (const auto& [identity, version] : versions_) {
                list += (list.empty() ? "" : ",") + device(identity, version);
            }
            return success("config get " + kind_ + "s", ",\"devicelist\":[" + list + "]");
        }
        if (line.starts_with("update all " + kind_ + "s")) {
            for (auto& [identity, version] : versions_) {
                version = "V1.2.6";
            }
            return success("update all " + kind_ + "s");
        }
        return failure("update device " + kind_);
    }

  private:
    std::string kind_;
    std::map<std::string, std::string> versions_;
};

class AvoipctlUpdate : public AvoipctlAlone {
  protected:
    /// Makes an image file of this name with such an info block; the file is no larger than needed.
    [[nodiscard]] std::string makeImage(std::string_view name, std::int32_t size,
                                        std::uint32_t magic = avoip::kImageMagic) const {
        avoip::FirmwareInfoBlock block{
            .magic = magic, .version = {1, 2, 6}, .name = {}, .size = size};
        std::copy(name.begin(), name.end(), block.name.begin());
        const auto bytes = avoip::Image_encode(block);
        std::string path = folder + "/image.bin";
        std::ofstream file(path, std::ios::binary);
        file.seekp(avoip::kInfoBlockOffset);
        file.write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return path;
    }
};

constexpr const char* kPlan =
    "name     Video-TX\n"
    "version  V1.2.6\n"
    "size     8192 bytes\n"
    "for      encoders\n";

}  // namespace

TEST_F(AvoipctlUpdate, shows_what_an_image_says_of_itself) {
    EXPECT_EQ(run({"image", makeImage("Video-TX", 8192)}), (Outcome{0, kPlan, ""}));
    EXPECT_EQ(run({"image", makeImage("RX and TX", 20'000'000)}).output,
              "name     RX and TX\n"
              "version  V1.2.6\n"
              "size     20000000 bytes, more than the file has: the rest is sent as zeros\n"
              "for      encoders and decoders\n");
    EXPECT_EQ(run({"image", makeImage("video-tx", 0)}).output,
              "name     video-tx\n"
              "version  V1.2.6\n"
              "size     0 bytes\n"
              "for      nothing: its name has neither TX nor RX\n");
}

TEST_F(AvoipctlUpdate, says_why_a_file_is_no_image) {
    const auto trouble = [&](const std::string& path, const std::string& why) {
        EXPECT_EQ(
            run({"image", path}),
            (Outcome{2, "", "avoipctl: The image " + path + " cannot be used: " + why + ".\n"}));
    };
    trouble(folder + "/none", "No such file or directory");
    trouble(folder, "it is no regular file");
    trouble(makeImage("TX", 1, 0x56190527),
            "it has no info block at offset 0xFF0000, so it is no firmware image");
    trouble(makeImage("TX", -1), "its info block gives a negative size");
    std::ofstream(folder + "/short") << "x";
    trouble(folder + "/short",
            "it has no info block at offset 0xFF0000, so it is no firmware image");
}

TEST_F(AvoipctlUpdate, refuses_an_image_that_the_daemon_would_refuse) {
    bed::StandIn daemon([](const std::string& line) { return failure(line); });
    const std::string path = makeImage("Video-RX", 8192);
    EXPECT_EQ(run({"update", "all-encoders", path, "--yes"}),
              (Outcome{2, "",
                       "avoipctl: The image " + path +
                           " cannot be used: it is not for encoders: its name, \"Video-RX\", has "
                           "no \"TX\". Nothing was sent.\n"}));
    EXPECT_TRUE(daemon.lines().empty());
}

TEST_F(AvoipctlUpdate, refuses_a_device_that_is_not_listed) {
    Devices devices("encoder", {{"tx01", "V1.0.0"}});
    bed::StandIn daemon([&](const std::string& line) { return devices.answer(line); });
    know({"tx09"});
    EXPECT_EQ(run({"update", "encoder", "tx09", makeImage("Video-TX", 8192)}),
              (Outcome{1, "",
                       "avoipctl: The device \"tx09\" is not among the encoders that answer: see "
                       "'avoipctl encoders'. Nothing was sent.\n"}));
    EXPECT_EQ(daemon.lines(), std::vector<std::string>{"config get encoders!"});
}

TEST_F(AvoipctlUpdate, shows_image_and_devices_and_what_became_of_each) {
    Devices devices("encoder", {{"tx01", "V1.0.0"}, {"tx02", "V1.1.0"}});
    bed::StandIn daemon([&](const std::string& line) { return devices.answer(line); });
    const std::string path = makeImage("Video-TX", 8192);
    EXPECT_EQ(run({"update", "all-encoders", path, "--yes"}),
              (Outcome{0,
                       std::string(kPlan) + "\n"
                                            "IDENTITY  VERSION\n"
                                            "tx01      V1.0.0\n"
                                            "tx02      V1.1.0\n"
                                            "\n"
                                            "IDENTITY  BEFORE  AFTER   RESULT\n"
                                            "tx01      V1.0.0  V1.2.6  updated\n"
                                            "tx02      V1.1.0  V1.2.6  updated\n",
                       ""}));
    EXPECT_EQ(daemon.lines(),
              (std::vector<std::string>{"config get encoders!", "update all encoders " + path + "!",
                                        "config get encoders!"}));
}

TEST_F(AvoipctlUpdate, ends_with_1_and_shows_the_versions_when_the_daemon_answers_failure) {
    Devices devices("decoder", {{"rx01", "V1.0.0"}, {"rx02", "V1.0.0"}});
    bed::StandIn daemon([&](const std::string& line) { return devices.answer(line); });
    know({"rx02"});
    const Outcome outcome = run({"update", "decoder", "rx02", makeImage("RX", 1)});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(
        outcome.output.ends_with("IDENTITY  BEFORE  AFTER   RESULT\n"
                                 "rx02      V1.0.0  V1.0.0  unchanged\n"))
        << outcome;
    EXPECT_NE(outcome.errors.find("The daemon's output says which step failed"), std::string::npos);
}

TEST_F(AvoipctlUpdate, prints_the_answer_alone_with_json) {
    Devices devices("decoder", {{"rx01", "V1.0.0"}});
    bed::StandIn daemon([&](const std::string& line) { return devices.answer(line); });
    EXPECT_EQ(run({"--json", "update", "all-decoders", makeImage("RX", 1), "-y"}),
              (Outcome{0, success("update all decoders") + "\n", ""}));
}

TEST_F(AvoipctlUpdate, hands_the_daemon_an_absolute_path) {
    Devices devices("decoder", {{"rx01", "V1.0.0"}});
    bed::StandIn daemon([&](const std::string& line) { return devices.answer(line); });
    const std::string path = makeImage("RX", 1);
    bed::DaemonOptions shell =
        options({"-c", "cd \"$1\" && exec \"$0\" update all-decoders image.bin --yes",
                 AVOIPCTL_PATH, folder});
    shell.program = "/bin/sh";
    bed::Daemon program(shell);
    EXPECT_EQ(end(program).status, 0);
    EXPECT_EQ(daemon.lines().at(1), "update all decoders " + path + "!");
}
