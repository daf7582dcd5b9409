// Which line reaches which command, in which order, and what is answered when it fails.
#include "dispatch/dispatch.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture_output.hpp"
#include "dispatch/command_table.hpp"
#include "kit/answer.hpp"
#include "protocol/client.hpp"

namespace {

std::string failure(const std::string& cmd) {
    return R"({"ack":{"cmd":")" + cmd + R"(","status":"failure"}})";
}

struct Dispatched {
    int result = -1;
    std::string answer;
    CapturedOutput printed;
};

Dispatched dispatch(const std::string& line) {
    Dispatched dispatched;
    std::vector<char> buffer(kAnswerCapacity, '\0');
    dispatched.printed = captureOutput(
        [&] { dispatched.result = Command_dispatch(-1, line.c_str(), buffer.data()); });
    dispatched.answer = buffer.data();
    return dispatched;
}

// Which line reaches which row is recorded in tests/transcripts/edges; here stands what holds for
// every row.

TEST(CommandTable, has_no_row_that_another_one_before_it_hides) {
    for (const CommandRow& row : CommandTable_rows()) {
        EXPECT_EQ(CommandTable_find(row.text), &row) << row.text;
        EXPECT_EQ(CommandTable_find(row.text.substr(0, row.compared)), &row) << row.text;
    }
}

TEST(CommandTable, compares_no_more_than_there_is) {
    for (const CommandRow& row : CommandTable_rows()) {
        EXPECT_TRUE(row.compared == kWholeLine || row.compared <= row.text.size()) << row.text;
    }
}

TEST(CommandTable, takes_only_lines_that_begin_with_a_row) {
    for (const CommandRow& row : CommandTable_rows()) {
        EXPECT_EQ(CommandTable_find(" " + std::string(row.text)), nullptr) << row.text;
    }
}

TEST(CommandTable, compares_whole_lines_to_the_last_character) {
    for (const char* text : {"config get devices", "config get encoders", "config get decoders"}) {
        EXPECT_NE(CommandTable_find(std::string(text) + "!"), nullptr) << text;
        for (const char* behind : {"", "!!", " !", "! x!"}) {
            EXPECT_EQ(CommandTable_find(std::string(text) + behind), nullptr) << text << behind;
        }
    }
}

TEST(CommandTable, distinguishes_case) {
    EXPECT_EQ(CommandTable_find("Matrix get!"), nullptr);
    EXPECT_EQ(CommandTable_find("config get DEVICES!"), nullptr);
}

TEST(CommandTable, does_not_compare_the_last_letter_of_config_set_net_params) {
    const CommandRow* const row = CommandTable_find("config set net params 1!");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(CommandTable_find("config set net param!"), row);
    EXPECT_EQ(CommandTable_find("config set net paramX 1!"), row);
    EXPECT_EQ(CommandTable_find("config get net param!"), nullptr);
}

TEST(CommandTable, has_a_function_in_no_row_that_adds_a_video_wall) {
    EXPECT_EQ(CommandTable_find("vw add get!")->function, nullptr);
}

// The tests from here on run without a client, so that every command function fails.

TEST(Dispatch, prints_the_line_before_the_command_runs) {
    EXPECT_EQ(dispatch("config get devices!").printed.output,
              "pBuffData config get devices!\nProtocol_client_getDevice err!\n");
}

TEST(Dispatch, answers_a_failed_config_get_net_params_with_the_name_of_the_set_command) {
    EXPECT_EQ(dispatch("config get net params dev!").answer,
              R"({"ack":{"cmd":"config set net params","status":"failure"}})");
}

TEST(Dispatch, answers_a_failed_serial_matrix_all_clear_with_the_name_of_the_single_clear) {
    EXPECT_EQ(dispatch("serial matrix all clear!").answer, failure("serial matrix clear"));
}

TEST(Dispatch, answers_vw_add_get_with_failure_whatever_follows) {
    for (const char* line : {"vw add get!", "vw add get", "vw add getting on 1 2!"}) {
        const Dispatched dispatched = dispatch(line);
        EXPECT_EQ(dispatched.answer, R"({"ack":{"cmd":"vw add ","status":"failure"}})");
        EXPECT_EQ(dispatched.printed.output, "pBuffData " + std::string(line) + "\n");
    }
}

TEST(Dispatch, answers_an_unknown_line_with_the_line_itself) {
    for (const char* line : {"hello!", "!", "", "hello", "config get devices",
                             "config get devices !", " matrix get!", "%s%n!"}) {
        const Dispatched dispatched = dispatch(line);
        EXPECT_EQ(dispatched.result, 0);
        EXPECT_EQ(dispatched.answer, failure(line));
        EXPECT_EQ(dispatched.printed.output, "pBuffData " + std::string(line) + "\n");
        EXPECT_EQ(dispatched.printed.errors, "");
    }
}

TEST(Dispatch, cuts_the_echo_of_an_unknown_line_at_127_characters) {
    const std::string most(127, 'x');
    EXPECT_EQ(dispatch(most).answer, failure(most));
    EXPECT_EQ(dispatch(most + "y").answer, failure(most));
    const std::string longest(4095, 'x');
    const Dispatched dispatched = dispatch(longest);
    EXPECT_EQ(dispatched.answer, failure(most));
    EXPECT_EQ(dispatched.printed.output, "pBuffData " + longest + "\n");
}

TEST(Dispatch, echoes_an_unknown_line_as_a_json_text) {
    EXPECT_EQ(dispatch("say \"hi\"\t\\!").answer, failure(R"(say \"hi\"\t\\!)"));
}

TEST(Dispatch, leaves_the_answer_of_a_command_that_succeeds_as_it_is) {
    // In this state every request succeeds and no reply is read.
    ProtocolClient client{};
    client.state = kStateSkipping;
    daemonClient = &client;
    const Dispatched dispatched = dispatch("config get encoders!");
    daemonClient = nullptr;
    EXPECT_EQ(dispatched.result, 0);
    EXPECT_EQ(dispatched.answer,
              R"({"ack":{"cmd":"config get encoders","status":"success"},"devicelist":[]})");
    EXPECT_EQ(dispatched.printed.output, "pBuffData config get encoders!\n");
}

}  // namespace
