// Plays what tests/transcripts holds and compares what comes with what is written there. With
// AVOIP_REBUILD_TRANSCRIPTS in the environment it writes instead.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/ip_tool.hpp"
#include "bed/temporary_folder.hpp"
#include "bed/transcript.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "system/transcripts/play.hpp"

namespace {

bed::DaemonOptions avoipsim(const std::vector<std::string>& arguments) {
    bed::DaemonOptions options;
    options.program = AVOIPSIM_PATH;
    options.arguments = arguments;
    return options;
}

/// The folder in which the daemon runs: updates name their images without a path.
class ImageFolder {
  public:
    ImageFolder() {
        std::filesystem::current_path(folder_.path());
        for (const std::string kind : {"TX", "RX"}) {
            // With the version that the devices have: it does not matter when they take it.
            bed::Daemon(avoipsim({"--make-image", kind + ".img", "--image-name", "Video-" + kind,
                                  "--image-version", "1.0.0", "--image-size", "5000"}))
                .awaitExit();
        }
    }
    ~ImageFolder() { std::filesystem::current_path("/"); }

  private:
    bed::TemporaryFolder folder_;
};

/// Plays the console lines of a session with a fleet of simulated devices, each at an address of
/// its own; the session as it came out. Comments and empty lines stay where they are.
std::string playedAgain(const std::string& session) {
    const ImageFolder folder;
    Play play;
    bed::Daemon fleet = play.namespaces().onDeviceSide([] {
        bed::ip("route add local 10.77.1.0/24 dev lo");
        return bed::Daemon(avoipsim({"--encoders", "2", "--decoders", "2", "--reboot-time", "0"}));
    });
    fleet.awaitOutput(" on dev0");
    std::string text;
    for (const std::string& line : bed::linesOf(session)) {
        if (line.starts_with("> ")) {
            text += bed::textOf(play.exchange(line.substr(2)));
        } else if (line.empty() || line.starts_with("#")) {
            text += line + "\n";
        }
    }
    return text;
}

class Transcripts : public testing::TestWithParam<std::string> {};

TEST_P(Transcripts, come_out_as_they_are_written) {
    bed::expectTranscript(GetParam(), playedAgain(bed::transcript(GetParam())));
}

// Shows what each command prints and answers when the system refuses its first request.
TEST_P(Transcripts, come_out_as_they_are_written_when_nothing_can_be_sent) {
    Play play;
    play.namespaces().removeMulticastRoute();
    std::string text = "# The lines of " + GetParam() + ".txt while no request can be sent.\n";
    std::set<std::string> played;
    for (const bed::Recorded& record : bed::records(GetParam())) {
        if (played.insert(record.line).second) {
            text += "\n" + bed::textOf(play.exchange(record.line));
        }
    }
    bed::expectTranscript("unsent/" + GetParam(), text);
}

INSTANTIATE_TEST_SUITE_P(Session, Transcripts, testing::ValuesIn(bed::sessionNames()),
                         [](const auto& name) { return name.param; });

/// The shortest line that is taken for a command, the one that is shorter by a character, and one
/// that goes on behind the command's text.
std::string edges(Play& play, const std::string& command) {
    std::string shortest;
    std::string text = "\n" + bed::textOf(play.exchange(command + " x!"));
    for (std::size_t length = command.size(); length > 0; --length) {
        const bed::Recorded record = play.exchange(command.substr(0, length) + "!");
        if (record.answer.find("{\"cmd\":\"" + record.line + "\"") != std::string::npos) {
            return text + shortest + bed::textOf(record);
        }
        shortest = bed::textOf(record);
    }
    return text;
}

TEST(Edges, of_every_command_are_as_they_are_written) {
    Play play;
    play.namespaces().removeAddress();
    std::string text = "# How much of a line is compared with each command, while all fail.\n";
    for (const auto& command : avoip::Catalogue_commands()) {
        text += edges(play, std::string(command.text));
    }
    // No front end offers this one.
    text += edges(play, "vw add get");
    bed::expectTranscript("edges/commands", text);
}

}  // namespace
