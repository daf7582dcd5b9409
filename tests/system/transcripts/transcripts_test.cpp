// Plays the sessions of tests/transcripts with a fleet of simulated devices and compares what comes
// with what is written there. With AVOIP_REBUILD_TRANSCRIPTS in the environment it writes instead.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "bed/cable.hpp"
#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"

namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A daemon and a fleet of simulated devices, each at an address of its own, from their start.
class Play {
  public:
    Play() {
        fleet_.awaitOutput(" on dev0");
        (void)printedSinceLast();
    }

    /// Sends one console line; the record of what came of it.
    std::string exchange(const std::string& line) {
        std::string record = "> " + line + "\n";
        const std::string answer = segment_.ask(console_, line);
        for (const bed::CableDatagram& datagram : cable_.take()) {
            record += datagram.outward ? "-> " : "<- " + datagram.address + " ";
            record += datagram.text + "\n";
        }
        for (const std::string& printed : linesOf(printedSinceLast())) {
            record += "| " + printed + "\n";
        }
        return record + "= " + answer + "\n";
    }

  private:
    static bed::DaemonOptions fleetOptions() {
        bed::DaemonOptions options;
        options.program = AVOIPSIM_PATH;
        options.arguments = {"--encoders", "2", "--decoders", "2", "--reboot-time", "0"};
        return options;
    }

    /// What the daemon has printed since the last call. A line of our own shows its end.
    std::string printedSinceLast() {
        const std::string fence = "pBuffData fence!\n";
        segment_.ask(console_, "fence!");
        daemon_.awaitOutput(fence);
        const std::string all = daemon_.output().all();
        std::string since = all.substr(seen_, all.size() - fence.size() - seen_);
        seen_ = all.size();
        return since;
    }

    bed::Namespaces namespaces_;
    bed::Cable cable_;
    bed::Daemon fleet_ = namespaces_.onDeviceSide([] {
        bed::ip("route add local 10.77.1.0/24 dev lo");
        return bed::Daemon(fleetOptions());
    });
    bed::Daemon daemon_;
    bed::Console console_;
    bed::Segment segment_;
    std::size_t seen_ = 0;
};

/// Plays the console lines of a transcript; the transcript as it came out. Comments and empty lines
/// stay where they are.
std::string playedAgain(const std::string& transcript) {
    Play play;
    std::string text;
    for (const std::string& line : linesOf(transcript)) {
        if (line.starts_with("> ")) {
            text += play.exchange(line.substr(2));
        } else if (line.empty() || line.starts_with("#")) {
            text += line + "\n";
        }
    }
    return text;
}

class Transcripts : public testing::TestWithParam<const char*> {};

TEST_P(Transcripts, come_out_as_they_are_written) {
    const std::string path = std::string(AVOIP_TRANSCRIPTS) + "/" + GetParam() + ".txt";
    std::stringstream written;
    written << std::ifstream(path).rdbuf();
    ASSERT_NE(written.str(), "") << path;
    const std::string played = playedAgain(written.str());
    if (std::getenv("AVOIP_REBUILD_TRANSCRIPTS") != nullptr) {
        std::ofstream(path) << played;
    } else {
        EXPECT_EQ(written.str(), played) << "where the new one is right, run scripts/transcripts";
    }
}

INSTANTIATE_TEST_SUITE_P(Family, Transcripts,
                         testing::Values("inventory", "aliases", "parameters", "edid", "network",
                                         "matrix", "serial", "ir", "video_wall", "maintenance"),
                         [](const auto& name) { return name.param; });

}  // namespace
