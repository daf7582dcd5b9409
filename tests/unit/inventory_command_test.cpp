// The commands that list devices, called as the dispatcher calls them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bed/device_reply.hpp"
#include "client_bed.hpp"
#include "commands/inventory.hpp"
#include "kit/answer.hpp"

namespace {

using Command = int (*)(int, const char*, char**);

struct Member {
    Command command;
    const char* group;
    const char* cmd;
};

constexpr Member kMembers[] = {
    {Command_getDevices, "All", "config get devices"},
    {Command_getEncoders, "All_TX", "config get encoders"},
    {Command_getDecoders, "All_RX", "config get decoders"},
};

class InventoryCommand : public testing::Test {
  protected:
    InventoryCommand() { daemonClient = bed_.client; }
    ~InventoryCommand() override { daemonClient = nullptr; }

    Outcome run(
        Command command, const std::function<void()>& talk = [] {}) {
        answer_.assign(kAnswerCapacity, '\0');
        return runRequest(
            [&] {
                char* buffer = answer_.data();
                return command(-1, "not looked at", &buffer);
            },
            talk);
    }

    std::string answer() const { return answer_.data(); }

    ClientBed bed_;
    std::vector<char> answer_;
};

std::string successAnswer(const char* cmd, const std::string& list = "") {
    return R"({"ack":{"cmd":")" + std::string(cmd) + R"(","status":"success"},"devicelist":[)" +
           list + "]}";
}

TEST_F(InventoryCommand, each_asks_its_group_and_answers_under_its_name) {
    for (const Member& member : kMembers) {
        const Outcome outcome = run(member.command);
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.output + outcome.errors, "");
        EXPECT_GE(outcome.took, std::chrono::milliseconds(500));
        EXPECT_EQ(answer(), successAnswer(member.cmd));
        EXPECT_EQ(bed_.device.receive().text,
                  R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
                  R"("device":[{"id":")" +
                      std::string(member.group) + R"("}]}})");
    }
}

TEST_F(InventoryCommand, members_stand_in_the_answers_order_with_the_identity_as_hostid) {
    run(Command_getEncoders, [&] {
        bed_.device.receive();
        bed_.device.reply(bed::deviceReply("tx01"));
    });
    EXPECT_EQ(answer(), successAnswer("config get encoders",
                                      R"({"hostid":"tx01","devtype":"devtype-tx01",)"
                                      R"("alias":"alias-tx01","devaddr":"devaddr-tx01",)"
                                      R"("devnetmask":"devnetmask-tx01",)"
                                      R"("devgateway":"devgateway-tx01","devmac":"devmac-tx01",)"
                                      R"("status":"status-tx01","version":"version-tx01"})"));
}

TEST_F(InventoryCommand, while_requests_are_skipped_the_list_is_empty) {
    bed_.client->state = 3;
    for (const Member& member : kMembers) {
        const Outcome outcome = run(member.command);
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.output + outcome.errors, "");
        EXPECT_EQ(answer(), successAnswer(member.cmd));
    }
    EXPECT_TRUE(bed_.device.hasHeardNothing());
}

TEST_F(InventoryCommand, in_state_5_each_fails_and_stores_nothing) {
    bed_.client->state = 5;
    for (const Member& member : kMembers) {
        const Outcome outcome = run(member.command);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(outcome.output, "client state(5) err!\nProtocol_client_getDevice err!\n");
        EXPECT_EQ(answer(), "");
    }
}

TEST_F(InventoryCommand, without_a_client_each_fails) {
    daemonClient = nullptr;
    for (const Member& member : kMembers) {
        const Outcome outcome = run(member.command);
        EXPECT_EQ(outcome.result, -1);
        EXPECT_EQ(outcome.output, "Protocol_client_getDevice err!\n");
        EXPECT_EQ(answer(), "");
    }
}

}  // namespace
