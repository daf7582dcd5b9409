// Random lines of every family, answered by a device that accepts and refuses at random: whatever
// comes, the daemon lives and answers each line.
#include <algorithm>
#include <atomic>
#include <iostream>
#include <random>
#include <thread>

#include "bed/transcript.hpp"
#include "system/families/conversation.hpp"

namespace {

using namespace families;

constexpr unsigned kSeed = 20240301;
constexpr int kLines = 1000;

/// The recorded lines but for those that begin with a discovery, which takes its time.
std::vector<std::string> commandsForOneDevice() {
    std::vector<std::string> lines;
    for (const bed::Recorded& unsent : bed::allRecords("unsent/")) {
        if (unsent.printed.back() != "Protocol_client_getDevice err!") {
            lines.push_back(unsent.line);
        }
    }
    return lines;
}

class RandomLine {
  public:
    explicit RandomLine(unsigned seed) : random_(seed) {}

    /// A line whose only "!" is its last character.
    std::string next() {
        std::string line = commands_[below(commands_.size())];
        // The command's own words, or its beginning with some of its arguments.
        line.resize(below(4) == 0 ? below(line.size()) : line.rfind(' '));
        for (std::size_t pieces = below(13); pieces > 0; --pieces) {
            line += gap() + piece();
        }
        std::ranges::replace(line, '!', below(2) == 0 ? '1' : ' ');
        // This word ends the connection.
        while (line.find("exit") != std::string::npos) {
            line.replace(line.find("exit"), 4, "quit");
        }
        line.resize(std::min<std::size_t>(line.size(), 4000));
        return line + "!";
    }

    std::size_t below(std::size_t bound) { return random_() % bound; }

  private:
    std::string gap() {
        constexpr const char* kGaps[] = {" ", " ", " ", "  ", "\t", "\v \f", ""};
        return kGaps[below(std::size(kGaps))];
    }

    std::string piece() {
        constexpr const char* kPieces[] = {
            "tx01",        "All",  "%",    "%%",   "%s%n%d",
            "%999999999d", "H264", "H265", "CBR",  "VBR",
            "30",          "4000", "50",   "0",    "-1",
            "2",           "+",    "-",    "0x7F", "99999999999999999999",
            "00FF00",      "abc",  "\"",   "\\u",  "{\"a\":",
            "\\",
        };
        switch (below(5)) {
            case 0:
                return std::string(below(5) == 0 ? below(4000) : below(140), 'w');
            case 1: {
                std::string bytes(below(80), ' ');
                std::ranges::generate(bytes, [this] { return static_cast<char>(1 + below(255)); });
                return bytes;
            }
            default:
                return kPieces[below(std::size(kPieces))];
        }
    }

    std::mt19937 random_;
    const std::vector<std::string> commands_ = commandsForOneDevice();
};

/// Answers what waits for an answer; for the rest a reply would only be in the next one's way.
class RandomDevice {
  public:
    RandomDevice(bed::Device& device, unsigned seed) : device_(device), random_(seed) {}

    void answerUntil(const std::atomic<bool>& over) {
        while (!over) {
            if (!device_.hasHeardNothing()) {
                answer(device_.receive().text);
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        }
    }

  private:
    void answer(const std::string& request) {
        constexpr std::string_view kBeginning = R"({"request":{"cmd":")";
        ASSERT_TRUE(request.starts_with(kBeginning)) << request;
        const std::string cmd = request.substr(
            kBeginning.size(), request.find('"', kBeginning.size()) - kBeginning.size());
        if (cmd.find(" get") == std::string::npos) {
            return;
        }
        const bool accepts = random_() % 4 != 0;
        device_.reply(bed::replyText(cmd, accepts ? "success" : "failure", kHostid, "",
                                     accepts ? randomData() : ""));
    }

    std::string randomData() {
        constexpr const char* kParts[] = {
            R"("txparams":{"deviceid":"%s","alias":"","enctype":"","encres":"","fps":"",)"
            R"("ratecontrol":"","bitrate":"","audioinput":"","audiocodec":"","audiofreq":"",)"
            R"("audiobitrate":"","videoresstatus":"","hdcpstatus":""})",
            R"("rxparams":{"deviceid":"","alias":"","luma":"","contrast":"","hue":"",)"
            R"("saturation":"","videoformat":"","videoresstatus":"","hdcpstatus":""})",
            R"("netparams":{"hdcpserver":"","static":"","devaddr":"","devnetmask":"",)"
            R"("devgateway":"","devmac":""})",
            R"("serialparams":{"baudrate":"","databits":"","parity":"","stopbits":""})",
            R"("rxsource":{"rxid":"","txid":"%s"},"serialsource":{"rxid":1,"txid":[]})",
            R"("irsource":{"rxid":"","txid":"ttttttttttttttttttttttttttttttttttttttttttttt"})",
            R"("rxedid":{"edid":"AP8A"})",
        };
        std::string data = R"("any":0)";
        for (const char* part : kParts) {
            if (random_() % 4 != 0) {
                data.append(",").append(part);
            }
        }
        return data;
    }

    bed::Device& device_;
    std::mt19937 random_;
};

TEST(RandomLines, are_all_answered_and_end_nothing) {
    std::cout << "seed " << kSeed << '\n';
    bed::Session session;
    std::atomic<bool> over = false;
    std::jthread device([&] { RandomDevice(session.device, kSeed + 1).answerUntil(over); });
    RandomLine lines(kSeed);
    for (int i = 0; i < kLines && !testing::Test::HasFailure(); ++i) {
        const std::string line = lines.next();
        SCOPED_TRACE("line " + std::to_string(i) + ": " + line);
        EXPECT_TRUE(session.segment.ask(session.console, line).starts_with(R"({"ack":{"cmd":")"));
    }
    over = true;
    device.join();
    EXPECT_TRUE(session.daemon.isRunning());
    EXPECT_EQ(session.daemon.errors().all(), "");
}

}  // namespace
