// How long every request waits for its replies.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bed/device_reply.hpp"
#include "capture_output.hpp"
#include "client_bed.hpp"
#include "commands/update.hpp"
#include "dispatch/dispatch.hpp"
#include "kit/answer.hpp"
#include "system/families/commands.hpp"
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
        calls.shorten = [&](int /*descriptor*/, int /*timeoutMs*/) {
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

TEST_F(RequestWaits, of_the_commands_for_devices_are_those_of_their_rows) {
    for (const families::Command& command : families::kCommands) {
        const Waits expected = command.waitMs > 0 ? Waits{command.waitMs} : Waits{};
        EXPECT_EQ(waitsOfLine(command.line), expected) << command.line;
    }
}

TEST_F(RequestWaits, begin_anew_after_a_datagram_that_cannot_be_read) {
    for (const families::Command& command : families::kCommands) {
        if (command.waitMs > 0) {
            EXPECT_EQ(waitsOfLine(command.line, {"hello", "{}"}), Waits(3, command.waitMs))
                << command.line;
        }
    }
}

TEST_F(RequestWaits, of_the_listings_are_half_a_second) {
    for (const char* line :
         {"config get devices!", "config get encoders!", "config get decoders!"}) {
        EXPECT_EQ(waitsOfLine(line), Waits{500});
        // Whatever comes, it begins anew.
        EXPECT_EQ(waitsOfLine(line, {deviceReply("a"), "hello", deviceReply("b", "failure"),
                                     deviceReply("c")}),
                  Waits(5, 500));
    }
}

TEST_F(RequestWaits, of_the_updates_discovery_are_a_second) {
    for (const char* line :
         {"update all encoders /no/image!", "update device encoder tx01 /no/image!",
          "update all decoders /no/image!", "update device decoder rx01 /no/image!"}) {
        EXPECT_EQ(waitsOfLine(line), Waits{1000});
        EXPECT_EQ(waitsOfLine(line, {deviceReply("a"), "hello", deviceReply("b")}), Waits(4, 1000));
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
