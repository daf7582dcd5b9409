// The command families on a client whose state a running daemon never takes.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "bed/transcript.hpp"
#include "capture_output.hpp"
#include "client_bed.hpp"
#include "commands/edid.hpp"
#include "commands/ir.hpp"
#include "commands/matrix.hpp"
#include "dispatch/command_table.hpp"
#include "dispatch/dispatch.hpp"
#include "kit/answer.hpp"
#include "system/families/answers.hpp"

namespace {

struct Dispatched {
    std::string printed;
    std::string answer;
};

Dispatched dispatch(std::string_view line) {
    std::vector<char> answer(kAnswerCapacity);
    const CapturedOutput captured =
        captureOutput([&] { Command_dispatch(0, std::string(line).c_str(), answer.data()); });
    EXPECT_EQ(captured.errors, "");
    return {captured.output, answer.data()};
}

/// Expects what was recorded while nothing could be sent to happen for this reason.
void expectFailures(const std::string& reason) {
    for (const bed::Recorded& unsent : bed::allRecords("unsent/")) {
        const bed::Recorded failed = bed::failedBy(unsent, reason, false);
        const Dispatched outcome = dispatch(failed.line);
        EXPECT_EQ(outcome.answer, failed.answer);
        EXPECT_EQ(bed::linesOf(outcome.printed), failed.printed);
    }
}

/// The commands on a client of this process.
class ClientStates : public testing::Test {
  protected:
    ClientStates() { daemonClient = bed_.client; }
    ~ClientStates() override { daemonClient = nullptr; }

    ClientBed bed_;
};

TEST(RecordedLines, reach_every_command_function_that_there_is) {
    std::set<const CommandRow*> reached;
    for (const bed::Recorded& record : bed::allRecords()) {
        reached.insert(CommandTable_find(record.line));
    }
    for (const CommandRow& row : CommandTable_rows()) {
        EXPECT_TRUE(reached.contains(&row) || row.function == nullptr) << row.text;
    }
}

TEST_F(ClientStates, every_command_succeeds_with_empty_values_when_requests_are_skipped) {
    daemonClient->state = kStateSkipping;
    for (const std::string& name : bed::sessionNames()) {
        std::string text = "# The lines of " + name + ".txt while requests are skipped.\n";
        std::set<std::string> played;
        for (const bed::Recorded& record : bed::records(name)) {
            if (played.insert(record.line).second) {
                const Dispatched outcome = dispatch(record.line);
                const auto printed = bed::linesOf(outcome.printed);
                text += "\n" + bed::textOf({record.line, {}, printed, outcome.answer});
            }
        }
        bed::expectTranscript("skipped/" + name, text);
    }
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(ClientStates, every_command_fails_in_a_state_that_allows_no_requests) {
    daemonClient->state = 5;
    expectFailures("client state(5) err!");
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(ClientStates, requests_are_sent_in_the_other_ready_state_too) {
    daemonClient->state = kStateAlsoReady;
    const Dispatched outcome = dispatch("device reboot rx01!");
    EXPECT_EQ(outcome.answer, families::success("device reboot"));
    EXPECT_EQ(
        bed_.device.receive().text,
        R"({"request":{"cmd":"device reboot","hostid":"001122aabbcc","device":[{"id":"rx01"}]}})");
}

TEST_F(ClientStates, a_skipped_request_leaves_its_results_alone) {
    daemonClient->state = kStateSkipping;
    DeviceId txid = deviceId("as before");
    EXPECT_EQ(Protocol_client_matrix_getDecode(daemonClient, deviceId("rx01"), txid), 0);
    EXPECT_EQ(Protocol_client_ir_matrixGet(daemonClient, deviceId("rx01"), txid), 0);
    EXPECT_EQ(txid.view(), "as before");
    EdidText edid{};
    edid.set("as before");
    EXPECT_EQ(Protocol_client_getDecodeEdid(daemonClient, deviceId("rx01"), edid), 0);
    EXPECT_EQ(edid.view(), "as before");
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST(NoClient, every_command_fails_without_a_crash) {
    daemonClient = nullptr;
    expectFailures("");
}

}  // namespace
