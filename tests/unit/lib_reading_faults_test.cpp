// Verified reads beside faults: what one fault can never do, and what two can.
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "lib/client/confirm.hpp"
#include "lib/client/reading.hpp"
#include "reading_model.hpp"

namespace avoip {
namespace {

using model::Fault;
using Faults = std::map<std::size_t, Fault>;

constexpr std::array kFaults{Fault::kLate, Fault::kDoubled, Fault::kLost, Fault::kForeign};

/// With one fault each: 10,000 in all.
constexpr std::uint64_t kRuns = 2'500;

const Command& commandOf(std::string_view text) {
    return *Catalogue_findText(text);
}

/// The commands that read from one device of this kind.
std::vector<const Command*> readsOf(DeviceKind kind) {
    std::vector<const Command*> reads;
    for (const Command& command : Catalogue_commands()) {
        if (command.exchange.kind == ExchangeKind::kReading &&
            (command.arguments.front().device == kind ||
             command.arguments.front().device == DeviceKind::kAny)) {
            reads.push_back(&command);
        }
    }
    return reads;
}

/// Two encoders and three decoders. Some are quick and some are slow, so that replies of different
/// ones overtake each other.
void addDevices(model::Daemon& daemon) {
    for (int i = 0; i < 5; ++i) {
        const bool encoder = i < 2;
        const std::string number = std::to_string(i);
        const double latency_s = daemon.fraction() < 0.5 ? 0.0005 : 0.15 * daemon.fraction();
        daemon.devices.push_back({(encoder ? "TX-" : "RX-") + number, encoder ? "TX" : "RX",
                                  "02:00:00:00:00:0" + number, latency_s});
    }
}

Reader readerOf(model::Daemon& daemon) {
    return Reader{[&](const Request& request) { return daemon.ask(request); }};
}

/// One to three of the reads that a device takes.
std::vector<Request> someReads(model::Daemon& daemon, const model::Device& device) {
    auto left = readsOf(device.type == "TX" ? DeviceKind::kEncoder : DeviceKind::kDecoder);
    std::vector<Request> reads;
    for (std::size_t count = 1 + daemon.below(3); count > 0; --count) {
        const std::size_t place = daemon.below(left.size());
        reads.push_back({left[place], {device.identity}});
        left.erase(left.begin() + static_cast<std::ptrdiff_t>(place));
    }
    return reads;
}

struct Outcome {
    int wrong = 0;
    int failed = 0;
    std::size_t replies = 0;
};

/// Asks one batch, and compares what was read with what the device says now.
void readOnce(model::Daemon& daemon, Reader& reader, Outcome& outcome) {
    model::Device& device = daemon.devices[daemon.below(daemon.devices.size())];
    // What it said to earlier questions is wrong from now on.
    ++device.version;
    const std::vector<Request> reads = someReads(daemon, device);
    const Batch batch = Reader_read(reader, reads);
    outcome.failed += batch.outcome.succeeded() ? 0 : 1;
    for (std::size_t i = 0; i < batch.replies.size(); ++i) {
        const std::string& said = batch.replies[i].answer.rows.front().back();
        const std::string right = reads[i].command->witness == Witness::kMac
                                      ? device.mac
                                      : model::Daemon::valueOf(device, *reads[i].command);
        outcome.wrong += said == right ? 0 : 1;
    }
}

/// A session of four batches, some behind a pause, with these faults.
Outcome readAll(std::uint64_t seed, const Faults& faults) {
    model::Daemon daemon(seed);
    addDevices(daemon);
    daemon.faults = faults;
    Reader reader = readerOf(daemon);
    Outcome outcome;
    for (int i = 0; i < 4; ++i) {
        daemon.pass(daemon.fraction() < 0.5 ? 0 : daemon.fraction() * 4);
        readOnce(daemon, reader, outcome);
    }
    outcome.replies = daemon.replies;
    return outcome;
}

std::string nameOfFault(const testing::TestParamInfo<Fault>& tested) {
    constexpr const char* kNames[] = {"late", "doubled", "lost", "foreign"};
    return kNames[static_cast<std::size_t>(tested.param)];
}

class ReadingBesideOneFault : public testing::TestWithParam<Fault> {};

/// A session of one change, which the decoder obeys or not, asked back beside these faults. Gives
/// whether the outcome was told rightly, and whether it was confirmed.
struct Told {
    bool right = true;
    bool confirmed = false;
};

Told changeOnce(std::uint64_t seed, const Faults& faults) {
    model::Daemon daemon(seed);
    addDevices(daemon);
    for (model::Device& device : daemon.devices) {
        device.said["matrix get"] = "TX-0";
    }
    daemon.faults = faults;
    Reader reader = readerOf(daemon);
    model::Device& decoder = daemon.find("RX-3");
    model::Device& other = daemon.find("RX-2");
    // The other one shows already what this one shall.
    other.said["matrix get"] = "TX-1";
    const Request before{&commandOf("matrix get"), {"RX-2"}};
    Reader_read(reader, {&before, 1});
    const bool obeys = seed % 2 == 0;
    decoder.said["matrix get"] = obeys ? "TX-1" : "TX-0";
    int patience = 3;
    const Confirmation confirmation =
        Reader_confirm(reader, {&commandOf("matrix set"), {"TX-1", "RX-3"}}, [&] {
            daemon.pass(0.1);
            return --patience > 0;
        });
    const bool confirmed = confirmation.verdict == Verdict::kConfirmed;
    return {obeys || !confirmed, confirmed};
}

}  // namespace

TEST(ReadingBesideFaults, is_right_without_any) {
    for (std::uint64_t seed = 0; seed < 500; ++seed) {
        const Outcome outcome = readAll(seed, {});
        EXPECT_EQ(outcome.wrong, 0) << seed;
        EXPECT_EQ(outcome.failed, 0) << seed;
    }
}

TEST_P(ReadingBesideOneFault, is_never_wrong_and_comes_to_its_end_all_the_same) {
    std::uint64_t seed = 0;
    for (std::uint64_t runs = 0; runs < kRuns; ++seed) {
        // Every reply of a session has the fault once: those to listings and closing questions too.
        const std::size_t replies = readAll(seed, {}).replies;
        for (std::size_t position = 0; position < replies && runs < kRuns; ++position, ++runs) {
            const Outcome outcome = readAll(seed, {{position, GetParam()}});
            EXPECT_EQ(outcome.wrong, 0) << "seed " << seed << ", reply " << position;
            EXPECT_EQ(outcome.failed, 0) << "seed " << seed << ", reply " << position;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, ReadingBesideOneFault, testing::ValuesIn(kFaults), nameOfFault);

TEST(ReadingBesideTwoFaults, cannot_see_those_that_undo_each_other) {
    model::Daemon daemon(1);
    addDevices(daemon);
    Reader reader = readerOf(daemon);
    const Request first{&commandOf("matrix get"), {"RX-2"}};
    ASSERT_TRUE(Reader_read(reader, {&first, 1}).outcome.succeeded());
    // The reply of the first one comes a second time, when its batch is closed already, and the
    // reply of the next one is lost: the one takes the place of the other, and nothing is left
    // over.
    daemon.sendStray(commandOf("matrix get"), daemon.find("RX-2"), 0);
    daemon.faults = {{daemon.replies, Fault::kLost}};
    const Request second{&commandOf("matrix get"), {"RX-3"}};
    const Batch batch = Reader_read(reader, {&second, 1});
    EXPECT_TRUE(batch.outcome.succeeded());
    EXPECT_EQ(batch.outcome.answer.rows, (std::vector<Row>{{"RX-3", "RX-2 matrix get #0"}}));
}

TEST(ReadingBesideTwoFaults, is_not_misled_by_them_where_it_asks_twice) {
    model::Daemon daemon(1);
    addDevices(daemon);
    daemon.find("RX-2").said["matrix get"] = "TX-1";
    daemon.find("RX-3").said["matrix get"] = "TX-0";
    Reader reader = readerOf(daemon);
    const Request first{&commandOf("matrix get"), {"RX-2"}};
    ASSERT_TRUE(Reader_read(reader, {&first, 1}).outcome.succeeded());
    daemon.sendStray(commandOf("matrix get"), daemon.find("RX-2"), 0);
    daemon.faults = {{daemon.replies, Fault::kLost}};
    const Confirmation confirmation =
        Reader_confirm(reader, {&commandOf("matrix set"), {"TX-1", "RX-3"}}, [] { return false; });
    EXPECT_EQ(confirmation.verdict, Verdict::kNotConfirmed);
    EXPECT_EQ(confirmation.problem, "Of \"RX-3\": its txid is \"TX-0\".");
}

TEST(Confirming, never_confirms_what_is_not_so_with_one_fault_or_with_two) {
    int confirmed = 0;
    for (std::uint64_t seed = 0; seed < 4000; ++seed) {
        model::Daemon random(seed);
        Faults faults;
        for (std::uint64_t count = 1 + seed / 2 % 2; count > 0; --count) {
            faults[random.below(24)] = kFaults.at(random.below(kFaults.size()));
        }
        const Told told = changeOnce(seed, faults);
        EXPECT_TRUE(told.right) << seed;
        confirmed += told.confirmed ? 1 : 0;
    }
    // Half of the changes are obeyed, and faults are no reason not to see that.
    EXPECT_GT(confirmed, 1900);
}

}  // namespace avoip
