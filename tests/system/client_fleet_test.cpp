// Verified reads and changes through the daemon itself, from simulated devices with faults.
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fleet_bed.hpp"
#include "gtest/gtest.h"
#include "lib/client/client.hpp"

namespace {

using namespace std::chrono_literals;
using avoip::Batch;
using avoip::Client;
using avoip::Request;

/// A lock file of the test's own.
class ClientAndFleet : public testing::Test {
  protected:
    ClientAndFleet() { ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1); }
    ~ClientAndFleet() override { std::filesystem::remove_all(folder); }

    static std::string makeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "avoipXXXXXX").string();
        return ::mkdtemp(pattern.data());
    }

    const std::string folder = makeFolder();
};

Request request(std::string_view text, std::vector<std::string> values) {
    return {avoip::Catalogue_findText(text), std::move(values)};
}

/// What was read, compared with what DaemonAndFleet::route() has set up.
struct Tally {
    int right = 0;
    int wrong = 0;
    int none = 0;
};

/// Reads one decoder's video route and one's serial route, or both of one.
void readSome(Client& client, std::mt19937& random, Tally& tally) {
    const int number = static_cast<int>(random() % DaemonAndFleet::kDecoders) + 1;
    const std::string decoder = decoderName(number);
    const std::string right[] = {encoderName(number),
                                 encoderName(number % DaemonAndFleet::kDecoders + 1)};
    std::vector<Request> reads{request("matrix get", {decoder}),
                               request("serial matrix get", {decoder})};
    const bool both = random() % 2 == 0;
    const std::size_t first = both ? 0 : random() % 2;
    reads = both ? reads : std::vector<Request>{reads[first]};
    const Batch batch = avoip::Client_read(client, reads);
    tally.none += batch.outcome.succeeded() ? 0 : 1;
    for (std::size_t i = 0; i < batch.replies.size(); ++i) {
        const bool same = batch.replies[i].answer.rows.front().back() == right[first + i];
        (same ? tally.right : tally.wrong) += 1;
    }
}

}  // namespace

TEST_F(ClientAndFleet, reads_nothing_wrong_beside_devices_with_faults) {
    DaemonAndFleet bed({"--seed", "7", "--loss", "0.01", "--duplicate", "0.05", "--wrong-hostid",
                        "0.03", "--failed", "0.03", "--delay", "0-20"});
    // Until it is set up in spite of the faults.
    bed.route();
    bed.route();
    Client client({});
    std::mt19937 random(7);
    Tally tally;
    for (int i = 0; i < 100; ++i) {
        readSome(client, random, tally);
    }
    EXPECT_EQ(tally.wrong, 0);
    EXPECT_GT(tally.right, 100);
    EXPECT_LT(tally.none, 10);
}

TEST_F(ClientAndFleet, reads_nothing_wrong_beside_replies_that_nobody_has_asked_for) {
    DaemonAndFleet bed;
    bed.route();
    const Stranger stranger(bed.namespaces);
    Client client({});
    std::mt19937 random(11);
    Tally tally;
    for (int i = 0; i < 100; ++i) {
        // As one that comes late, often of the kind that is asked for just now, from any device.
        const bool video = random() % 2 == 0;
        const std::string decoder = decoderName(static_cast<int>(random() % 4) + 1);
        const std::jthread late([&, wait = std::chrono::microseconds(random() % 4000)] {
            std::this_thread::sleep_for(wait);
            stranger.replyWithRoute(video ? "matrix get" : "serial matrix get",
                                    video ? "rxsource" : "serialsource", decoder, "TX-0009");
        });
        readSome(client, random, tally);
    }
    EXPECT_EQ(tally.wrong, 0);
    EXPECT_EQ(tally.none, 0);
}

TEST_F(ClientAndFleet, confirms_changes_that_can_be_asked_back) {
    DaemonAndFleet bed;
    Client client({});
    const Request changes[] = {
        request("config set device alias", {"RX-0001", "Bar, \"left\""}),
        request("config set tx params",
                {"TX-0001", "H265", "1280x720", "25", "VBR", "900", "Line", "PCM", "44100", "256"}),
        request("config set rx params", {"RX-0002", "1", "2", "3", "4", "2"}),
        request("config set net params",
                {"TX-0002", "1", "0", "10.77.1.99", "255.255.255.0", "10.77.1.1"}),
        request("matrix set", {"TX-0003", "RX-0001"}),
        request("matrix all set", {"TX-0002"}),
        request("matrix clear", {"RX-0003"}),
        request("serial set params", {"TX-0004", "9600", "7", "even", "2"}),
        request("serial matrix set", {"TX-0003", "RX-0001"}),
        request("serial matrix clear", {"RX-0001"}),
        request("serial matrix all clear", {}),
        request("ir matrix set", {"TX-0001", "RX-0001"}),
        request("ir matrix clear", {"RX-0001"}),
        request("config remove device alias", {"RX-0001"}),
    };
    for (const Request& change : changes) {
        ASSERT_TRUE(avoip::Client_run(client, change).succeeded()) << change.command->text;
        const avoip::Confirmation confirmation = avoip::Client_confirm(client, change);
        EXPECT_EQ(confirmation.verdict, avoip::Verdict::kConfirmed)
            << change.command->text << ": " << confirmation.problem;
    }
    const auto lost = request("matrix set", {"TX-0003", "RX-0009"});
    ASSERT_TRUE(avoip::Client_run(client, lost).succeeded());
    EXPECT_EQ(avoip::Client_confirm(client, lost).problem, "Of \"RX-0009\": it does not answer.");
}
