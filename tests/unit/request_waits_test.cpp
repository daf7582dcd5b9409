// How long every request waits for its replies.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "bed/device_reply.hpp"
#include "bed/transcript.hpp"
#include "capture_output.hpp"
#include "client_bed.hpp"
#include "commands/update.hpp"
#include "dispatch/dispatch.hpp"
#include "kit/answer.hpp"
#include "system_calls.hpp"

namespace {

using Waits = std::vector<int>;

// A datagram that is under way comes within this time, in milliseconds.
constexpr int kPatience = 20'000;

class RequestWaits : public testing::Test {
  protected:
    RequestWaits() { daemonClient = bed_.client; }
    ~RequestWaits() override { daemonClient = nullptr; }

    /// What the request asks to wait. In each of its first waits one of `datagrams` comes, and in
    /// the last one nothing.
    template <class Request>
    Waits waitsOf(const Request& request, const std::vector<std::string>& datagrams = {}) {
        SystemCalls calls;
        calls.shorten = [&](int /*descriptor*/, int /*timeout_ms*/) {
            const std::size_t number = calls.waits.size() - 1;
            if (number >= datagrams.size()) {
                return 0;
            }
            bed_.device.reply(datagrams[number]);
            return kPatience;
        };
        captureOutput([&] { calls.during(request); });
        return calls.waits;
    }

    Waits waitsOfLine(std::string_view line, const std::vector<std::string>& datagrams = {}) {
        std::vector<char> answer(kAnswerCapacity);
        return waitsOf([&] { return Command_dispatch(-1, std::string(line).c_str(), &answer[0]); },
                       datagrams);
    }

    ClientBed bed_;
    const DeviceId device_ = deviceId("tx01");
};

// The commands that ask one device and wait for its reply. All others for devices wait for none.
struct Reading {
    std::string_view words;
    int wait_ms = 3000;
};
constexpr Reading kReadings[] = {
    {"config get tx params"},  {"config get rx params"}, {"config get rx edid", 5000},
    {"config get net params"}, {"matrix get"},           {"serial get params"},
    {"serial matrix get"},     {"ir matrix get"},
};

int waitOf(std::string_view line) {
    const auto row = std::ranges::find_if(
        kReadings, [&](const Reading& reading) { return line.starts_with(reading.words); });
    return row == std::end(kReadings) ? 0 : row->wait_ms;
}

/// The recorded lines of all commands that send a request to certain devices: neither listings nor
/// updates, which ask all of them.
std::vector<std::string> linesThatSend() {
    std::vector<std::string> lines;
    for (const bed::Recorded& record : bed::allRecords("unsent/")) {
        const bool all = record.answer.find("coders\"") != std::string::npos ||
                         record.answer.find("devices\"") != std::string::npos ||
                         record.line.starts_with("update ");
        if (!all && std::ranges::count(record.printed, bed::kSendFailed) > 0) {
            lines.push_back(record.line);
        }
    }
    return lines;
}

TEST_F(RequestWaits, of_the_commands_for_devices_are_those_of_their_rows) {
    std::set<std::string_view> waited;
    const std::vector<std::string> lines = linesThatSend();
    for (const std::string& line : lines) {
        const int wait_ms = waitOf(line);
        EXPECT_EQ(waitsOfLine(line), wait_ms > 0 ? Waits{wait_ms} : Waits{}) << line;
        if (wait_ms > 0) {
            EXPECT_EQ(waitsOfLine(line, {"hello", "{}"}), Waits(3, wait_ms)) << line;
            waited.insert(std::ranges::find_if(kReadings, [&](const Reading& reading) {
                              return line.starts_with(reading.words);
                          })->words);
        }
    }
    EXPECT_EQ(waited.size(), std::size(kReadings));
}

TEST_F(RequestWaits, of_the_listings_are_half_a_second) {
    for (const char* line :
         {"config get devices!", "config get encoders!", "config get decoders!"}) {
        EXPECT_EQ(waitsOfLine(line), Waits{500});
        // Whatever comes, it begins anew.
        EXPECT_EQ(waitsOfLine(line, {bed::deviceReply("a"), "hello",
                                     bed::deviceReply("b", "failure"), bed::deviceReply("c")}),
                  Waits(5, 500));
    }
}

TEST_F(RequestWaits, of_the_updates_discovery_are_a_second) {
    for (const char* line :
         {"update all encoders /no/image!", "update device encoder tx01 /no/image!",
          "update all decoders /no/image!", "update device decoder rx01 /no/image!"}) {
        EXPECT_EQ(waitsOfLine(line), Waits{1000});
        EXPECT_EQ(waitsOfLine(line, {bed::deviceReply("a"), "hello", bed::deviceReply("b")}),
                  Waits(4, 1000));
    }
}

TEST_F(RequestWaits, of_update_data_are_a_second) {
    const auto updateTx = [&] {
        return Protocol_client_updateTx(bed_.client, device_, 7, "data", 4);
    };
    EXPECT_EQ(waitsOf(updateTx), Waits{1000});
    EXPECT_EQ(waitsOf(updateTx, {"hello", "{}"}), Waits(3, 1000));
    const auto updateRx = [&] {
        return Protocol_client_updateRx(bed_.client, device_, 7, "data", 4);
    };
    EXPECT_EQ(waitsOf(updateRx), Waits{1000});
    EXPECT_EQ(waitsOf(updateRx, {"hello", "{}"}), Waits{1000}) << "the first one decides";
}

}  // namespace
