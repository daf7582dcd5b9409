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

struct Row {
    const char* text;
    /// How many characters are compared; 0 for the whole line.
    std::size_t compared;
    const char* reported;
};

constexpr Row kRows[] = {
    {"config get devices!", 0, "config get devices"},
    {"config get encoders!", 0, "config get encoders"},
    {"config get decoders!", 0, "config get decoders"},
    {"config set device alias", 23, "config set device alias"},
    {"config remove device alias", 26, "config remove device alias"},
    {"config get tx params", 20, "config get tx params"},
    {"config set tx params", 20, "config set tx params"},
    {"config get rx params", 20, "config get rx params"},
    {"config set rx params", 20, "config set rx params"},
    {"config get net params", 21, "config set net params"},
    {"config set net params", 20, "config set net params"},
    {"config get rx edid", 18, "config get rx edid"},
    {"config set tx edid", 18, "config set tx edid"},
    {"config set all edid", 19, "config set all edid"},
    {"matrix get", 10, "matrix get"},
    {"matrix all set", 14, "matrix all set"},
    {"matrix set", 10, "matrix set"},
    {"matrix clear", 12, "matrix clear"},
    {"serial get params", 17, "serial get params"},
    {"serial set params", 17, "serial set params"},
    {"serial matrix get", 17, "serial matrix get"},
    {"serial matrix all set", 21, "serial matrix all set"},
    {"serial matrix set", 17, "serial matrix set"},
    {"serial matrix all clear", 23, "serial matrix clear"},
    {"serial matrix clear", 19, "serial matrix clear"},
    {"serial data", 11, "serial data"},
    {"ir matrix get", 13, "ir matrix get"},
    {"ir matrix set", 13, "ir matrix set"},
    {"ir matrix clear", 15, "ir matrix clear"},
    {"vw add get", 10, "vw add "},
    {"vw set", 6, "vw set"},
    {"vw remove", 9, "vw remove"},
    {"update all encoders", 19, "update all encoders"},
    {"update device encoder", 21, "update device encoder"},
    {"update all decoders", 19, "update all decoders"},
    {"update device decoder", 21, "update device decoder"},
    {"device showme", 13, "device showme"},
    {"device all reboot", 17, "device all reboot"},
    {"device reboot", 13, "device reboot"},
    {"device factory", 14, "device factory"},
};

constexpr std::size_t kNoRow = std::size(kRows);

/// The place of the row that the line matches.
std::size_t rowOf(std::string_view line) {
    const CommandRow* row = CommandTable_find(line);
    return row != nullptr ? static_cast<std::size_t>(row - CommandTable_rows().data()) : kNoRow;
}

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

TEST(CommandTable, has_its_rows_in_their_order) {
    const auto rows = CommandTable_rows();
    ASSERT_EQ(rows.size(), std::size(kRows));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].text, kRows[i].text);
        EXPECT_EQ(rows[i].compared, kRows[i].compared != 0 ? kRows[i].compared : kWholeLine);
        EXPECT_STREQ(rows[i].reportedName, kRows[i].reported);
    }
}

TEST(CommandTable, finds_each_row_by_its_own_text) {
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        EXPECT_EQ(rowOf(kRows[i].text), i) << kRows[i].text;
    }
}

TEST(CommandTable, compares_whole_rows_to_the_last_character) {
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        if (kRows[i].compared == 0) {
            const std::string text = kRows[i].text;
            EXPECT_EQ(rowOf(text.substr(0, text.size() - 1)), kNoRow) << text;
            EXPECT_EQ(rowOf(text + "!"), kNoRow) << text;
            EXPECT_EQ(rowOf(text + " x!"), kNoRow) << text;
        }
    }
}

TEST(CommandTable, compares_prefix_rows_as_far_as_they_say) {
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        if (kRows[i].compared != 0) {
            const std::string compared(kRows[i].text, kRows[i].compared);
            EXPECT_EQ(rowOf(compared), i) << compared;
            EXPECT_EQ(rowOf(compared + "xyz"), i) << compared;
            EXPECT_EQ(rowOf(compared + " a b!"), i) << compared;
            EXPECT_EQ(rowOf(compared.substr(0, compared.size() - 1)), kNoRow) << compared;
            EXPECT_EQ(rowOf(" " + compared), kNoRow) << compared;
        }
    }
}

TEST(CommandTable, distinguishes_case) {
    EXPECT_EQ(rowOf("Matrix get!"), kNoRow);
    EXPECT_EQ(rowOf("config get DEVICES!"), kNoRow);
}

TEST(CommandTable, does_not_compare_the_last_letter_of_config_set_net_params) {
    EXPECT_EQ(rowOf("config set net param!"), 10U);
    EXPECT_EQ(rowOf("config set net paramX 1!"), 10U);
    EXPECT_EQ(rowOf("config get net param!"), kNoRow);
}

TEST(CommandTable, has_a_function_in_no_row_that_adds_a_video_wall) {
    EXPECT_EQ(CommandTable_find("vw add get!")->function, nullptr);
}

// The tests from here on run without a client, so that every command function fails.

TEST(Dispatch, answers_each_failed_command_with_its_reported_name) {
    ASSERT_EQ(daemonClient, nullptr);
    for (const Row& row : kRows) {
        const std::string line = row.compared == 0 ? row.text : std::string(row.text) + " a b c!";
        const Dispatched dispatched = dispatch(line);
        EXPECT_EQ(dispatched.result, 0) << line;
        EXPECT_EQ(dispatched.answer, failure(row.reported)) << line;
        EXPECT_TRUE(dispatched.printed.output.starts_with("pBuffData " + line + "\n")) << line;
    }
}

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
