// The command families on a client whose state a running daemon never takes.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "capture_output.hpp"
#include "client_bed.hpp"
#include "commands/edid.hpp"
#include "commands/ir.hpp"
#include "commands/matrix.hpp"
#include "dispatch/command_table.hpp"
#include "dispatch/dispatch.hpp"
#include "kit/answer.hpp"
#include "system/families/commands.hpp"

namespace {

using families::Command;
using families::kCommands;

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

/// What the dispatcher and the command print around what the request prints.
std::string printed(const Command& command, std::string_view behind) {
    std::string text = "pBuffData ";
    return text.append(command.line).append("\n").append(command.printedBefore).append(behind);
}

/// The commands on a client of this process.
class ClientStates : public testing::Test {
  protected:
    ClientStates() { daemonClient = bed_.client; }
    ~ClientStates() override { daemonClient = nullptr; }

    ClientBed bed_;
};

TEST(FamilyCommands, are_all_of_the_table_but_the_inventory_and_the_updates) {
    std::set<const CommandRow*> listed;
    for (const Command& command : kCommands) {
        const CommandRow* row = CommandTable_find(command.line);
        ASSERT_NE(row, nullptr) << command.line;
        EXPECT_EQ(row->reportedName, command.failureName);
        listed.insert(row);
    }
    std::set<const CommandRow*> expected;
    for (const CommandRow& row : CommandTable_rows()) {
        if (row.function != nullptr && row.compared != kWholeLine &&
            !row.text.starts_with("update")) {
            expected.insert(&row);
        }
    }
    EXPECT_EQ(listed, expected);
    EXPECT_EQ(std::size(kCommands), expected.size());
}

TEST_F(ClientStates, every_command_succeeds_with_empty_values_when_requests_are_skipped) {
    daemonClient->state = kStateSkipping;
    for (const Command& command : kCommands) {
        const Dispatched outcome = dispatch(command.line);
        EXPECT_EQ(outcome.answer, families::answerText(command.name, "success", command.emptyData));
        EXPECT_EQ(outcome.printed, printed(command, command.printedBehind));
        EXPECT_TRUE(bed_.device.hasHeardNothing()) << command.line;
    }
}

TEST_F(ClientStates, every_command_fails_in_a_state_that_allows_no_requests) {
    daemonClient->state = 5;
    for (const Command& command : kCommands) {
        const Dispatched outcome = dispatch(command.line);
        EXPECT_EQ(outcome.answer, families::failure(command.failureName));
        EXPECT_EQ(outcome.printed, printed(command, "client state(5) err!\n" +
                                                        std::string(command.errorLine) + "\n"));
        EXPECT_TRUE(bed_.device.hasHeardNothing()) << command.line;
    }
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
    for (const Command& command : kCommands) {
        const Dispatched outcome = dispatch(command.line);
        EXPECT_EQ(outcome.answer, families::failure(command.failureName));
        EXPECT_EQ(outcome.printed, printed(command, std::string(command.errorLine) + "\n"));
    }
}

}  // namespace
