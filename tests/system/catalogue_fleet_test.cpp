// Every command of the catalogue, through the daemon, to a fleet of simulated devices: each to a
// success answer of the shape that the catalogue promises, and each to its failure answer.
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "gtest/gtest.h"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"

namespace {

using namespace avoip;

std::string makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "avoipXXXXXX").string();
    return ::mkdtemp(pattern.data());
}

/// The daemon, and behind "eth0.2" one encoder, TX-0001, and one decoder, RX-0001.
class CatalogueAndFleet : public testing::Test {
  protected:
    CatalogueAndFleet() {
        bed::DaemonOptions make;
        make.program = AVOIPSIM_PATH;
        make.arguments = {"--make-image", image,          "--image-name",
                          "TX and RX",    "--image-size", "5000"};
        EXPECT_EQ(bed::Daemon(make).awaitExit(), bed::Exit{});

        bed::DaemonOptions play;
        play.program = AVOIPSIM_PATH;
        play.arguments = {"--encoders", "1", "--decoders", "1", "--reboot-time", "0"};
        fleet = namespaces.onDeviceSide([&] {
            bed::ip("route add local 10.77.1.0/24 dev lo");
            return std::make_unique<bed::Daemon>(play);
        });
        fleet->awaitOutput("on dev0");
    }

    ~CatalogueAndFleet() override { std::filesystem::remove_all(folder); }

    /// The command's example as a console text, with the image of this test.
    [[nodiscard]] std::string textOf(const Command& command) const {
        std::vector<std::string> values = Arguments_examples(command);
        if (command.group == "update") {
            values.back() = image;
        }
        return Arguments_consoleText(command, values);
    }

    const std::string folder = makeFolder();
    const std::string image = folder + "/image.bin";
    bed::Namespaces namespaces;
    std::unique_ptr<bed::Daemon> fleet;
    bed::Daemon daemon;
};

}  // namespace

TEST_F(CatalogueAndFleet, agree_on_every_success_answer) {
    bed::Console console;
    bed::Segment segment;
    for (const Command& command : Catalogue_commands()) {
        const std::string answer = segment.ask(console, textOf(command));
        EXPECT_EQ(Answer_problem(answer, command), "") << textOf(command) << "\n" << answer;
        EXPECT_EQ(Answer_read(answer, command.shape).rows.empty(), command.shape.key.empty())
            << textOf(command) << "\n"
            << answer;
    }
}

TEST_F(CatalogueAndFleet, agree_on_every_failure_answer) {
    bed::Console console;
    bed::Segment segment;
    namespaces.removeAddress();
    for (const Command& command : Catalogue_commands()) {
        EXPECT_EQ(segment.ask(console, textOf(command)),
                  R"({"ack":{"cmd":")" + std::string(Catalogue_failureName(command)) +
                      R"(","status":"failure"}})");
    }
}
