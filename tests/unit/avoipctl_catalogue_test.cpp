#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "avoipctl/command_table.hpp"
#include "avoipctl/subcommand.hpp"
#include "dispatch/command_table.hpp"
#include "gtest/gtest.h"
#include "lib/catalogue/arguments.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"
#include "lib/frontend/avoip_frontend.h"

namespace avoip::ctl {
namespace {

std::string exampleOf(const Command& command) {
    return Arguments_consoleText(command, Arguments_examples(command));
}

const Command& command(std::string_view group, std::string_view action) {
    return *Catalogue_find(group, action);
}

}  // namespace

TEST(Catalogue, has_every_command_that_the_daemon_can_carry_out) {
    std::multiset<const CommandRow*> reached;
    for (const Command& each : Catalogue_commands()) {
        const CommandRow* const row = CommandTable_find(exampleOf(each));
        ASSERT_NE(row, nullptr) << each.text;
        EXPECT_EQ(reached.count(row), 0U) << each.text;
        reached.insert(row);
    }
    for (const CommandRow& row : CommandTable_rows()) {
        EXPECT_EQ(reached.count(&row), row.function == nullptr ? 0U : 1U) << row.text;
    }
}

TEST(Catalogue, knows_the_names_that_failure_answers_carry) {
    for (const Command& each : Catalogue_commands()) {
        const CommandRow* const row = CommandTable_find(exampleOf(each));
        ASSERT_NE(row, nullptr);
        EXPECT_EQ(Catalogue_failureName(each), row->reportedName);
    }
}

TEST(Catalogue, knows_the_two_success_answers_that_carry_another_name) {
    for (const Command& each : Catalogue_commands()) {
        const bool other = each.text == "matrix set" || each.text == "config set rx params";
        EXPECT_EQ(Catalogue_successName(each) == each.text, !other) << each.text;
    }
    EXPECT_EQ(Catalogue_successName(command("matrix", "set")), "matrix sets");
    EXPECT_EQ(Catalogue_successName(command("decoder", "set")), "config set tx params");
}

TEST(Catalogue, has_examples_that_pass_their_own_checks) {
    for (const Command& each : Catalogue_commands()) {
        for (const Argument& argument : each.arguments) {
            EXPECT_EQ(Arguments_problem(argument, argument.example), "")
                << each.text << ": " << argument.name;
        }
        EXPECT_EQ(avoip_frontend_refusal(exampleOf(each).c_str()), nullptr) << each.text;
    }
}

TEST(Catalogue, has_each_subcommand_once_and_each_group_described) {
    std::set<std::string> names;
    for (const Command& each : Catalogue_commands()) {
        EXPECT_TRUE(names.insert(Subcommand_words(each)).second) << each.text;
        EXPECT_EQ(Catalogue_find(each.group, each.action), &each);
        const bool described =
            std::ranges::count(Catalogue_groups(), each.group, &Group::name) == 1;
        EXPECT_EQ(described, !each.action.empty()) << each.text;
    }
    for (const Group& group : Catalogue_groups()) {
        EXPECT_GE(std::ranges::count(Catalogue_commands(), group.name, &Command::group), 2)
            << group.name;
    }
}

TEST(Catalogue, waits_longer_than_the_daemon_does) {
    for (const Command& each : Catalogue_commands()) {
        const int daemon_ms = each.group == "update"           ? 300'000
                              : each.shape.key == "rxedid"     ? 5'000
                              : each.shape.key == "devicelist" ? 500
                              : each.shape.key.empty()         ? 0
                                                               : 3'000;
        EXPECT_GE(each.exchange.timeout_ms, daemon_ms + 5'000) << each.text;
    }
}

TEST(Catalogue, lets_only_the_last_argument_hold_blanks) {
    for (const Command& each : Catalogue_commands()) {
        for (std::size_t i = 0; i + 1 < each.arguments.size(); ++i) {
            EXPECT_NE(Arguments_problem(each.arguments[i], "a b"), "") << each.text;
        }
    }
}

TEST(Catalogue, finds_the_command_that_a_console_text_begins_with) {
    EXPECT_EQ(Catalogue_findText("serial matrix all clear!"),
              &command("serial-matrix", "clear-all"));
    EXPECT_EQ(Catalogue_findText("serial matrix clear rx01!"), &command("serial-matrix", "clear"));
    EXPECT_EQ(Catalogue_findText("config get devices!"), &command("devices", ""));
    EXPECT_EQ(Catalogue_findText("config get"), nullptr);
    EXPECT_EQ(Catalogue_find("matrix", "send"), nullptr);
}

TEST(Catalogue, takes_a_line_for_what_the_daemon_takes_it_for) {
    EXPECT_EQ(Catalogue_commandOf("config get devices!"), &command("devices", ""));
    EXPECT_EQ(Catalogue_commandOf("  matrix get rx01!"), &command("matrix", "get"));
    EXPECT_EQ(Catalogue_commandOf("matrix getrx01!"), &command("matrix", "get"));
    EXPECT_EQ(Catalogue_commandOf("device all reboot now!"), &command("device", "reboot-all"));
    EXPECT_EQ(Catalogue_commandOf("config get devices !"), nullptr);
    EXPECT_EQ(Catalogue_commandOf("config get devices"), nullptr);
    EXPECT_EQ(Catalogue_commandOf("vw add get rx01!"), nullptr);
    EXPECT_EQ(Catalogue_commandOf("   "), nullptr);
}

TEST(Catalogue, knows_the_names_of_answers_to_any_line_as_the_daemon_gives_them) {
    for (const CommandRow& row : CommandTable_rows()) {
        const std::string line = std::string(row.text) + (row.text.ends_with('!') ? "" : " x!");
        EXPECT_EQ(Catalogue_answerNames(line).failure, row.reportedName) << line;
        EXPECT_EQ(CommandTable_find(line), &row) << line;
    }
    EXPECT_EQ(Catalogue_answerNames("matrix set a b!").success, "matrix sets");
    EXPECT_EQ(Catalogue_answerNames("config set net paramx!").failure, "config set net params");
    EXPECT_EQ(Catalogue_answerNames("hello!").failure, "hello!");
    EXPECT_EQ(Catalogue_answerNames(" config get devices !").failure, "config get devices !");
}

TEST(Catalogue, reads_changes_back_by_what_the_other_command_says) {
    for (const Command& each : Catalogue_commands()) {
        const AskedBack& back = each.askedBack;
        if (back.text.empty()) {
            EXPECT_TRUE(back.expected.empty()) << each.text;
            continue;
        }
        EXPECT_EQ(each.exchange.kind, ExchangeKind::kSending) << each.text;
        const Command* const asked = Catalogue_findText(back.text);
        ASSERT_NE(asked, nullptr) << each.text;
        EXPECT_EQ(asked->text, back.text);
        EXPECT_FALSE(asked->shape.key.empty()) << each.text;
        ASSERT_LT(back.device, static_cast<int>(each.arguments.size())) << each.text;
        EXPECT_FALSE(back.expected.empty()) << each.text;
        for (const Expectation& expected : back.expected) {
            EXPECT_EQ(std::ranges::count(asked->shape.members, expected.member, &Member::key), 1)
                << each.text << ": " << expected.member;
            EXPECT_LT(expected.argument, static_cast<int>(each.arguments.size())) << each.text;
            EXPECT_TRUE(expected.argument == kNothing || expected.argument != back.device)
                << each.text;
        }
    }
}

TEST(Catalogue, names_the_device_in_every_answer_with_data) {
    for (const Command& each : Catalogue_commands()) {
        EXPECT_EQ(each.shape.key.empty(), each.shape.device.empty()) << each.text;
        EXPECT_EQ(each.shape.key.empty(), each.exchange.kind == ExchangeKind::kSending ||
                                              each.exchange.kind == ExchangeKind::kUpdating)
            << each.text;
        if (!each.shape.key.empty()) {
            EXPECT_EQ(std::ranges::count(each.shape.members, each.shape.device, &Member::key), 1)
                << each.text;
        }
        // A read is of one device, which it names first.
        EXPECT_EQ(each.exchange.kind == ExchangeKind::kReading,
                  !each.shape.key.empty() && each.arguments.size() == 1)
            << each.text;
    }
}

TEST(ConsoleText, is_the_command_and_its_values_and_an_exclamation_mark) {
    EXPECT_EQ(exampleOf(command("devices", "")), "config get devices!");
    EXPECT_EQ(exampleOf(command("alias", "set")),
              "config set device alias TX-0001 Meeting room 2!");
    EXPECT_EQ(exampleOf(command("wall", "set")),
              "vw set 3840 2160 0 0 1 0 1920 0 TX-0001 RX-0001!");
    EXPECT_EQ(exampleOf(command("update", "decoder")),
              "update device decoder RX-0001 /srv/firmware/image.bin!");
}

TEST(ShellExample, quotes_what_holds_a_blank) {
    EXPECT_EQ(Subcommand_example(command("alias", "set")),
              "avoipctl alias set TX-0001 'Meeting room 2'");
    EXPECT_EQ(Subcommand_example(command("devices", "")), "avoipctl devices");
}

TEST(CommandTable, has_a_line_for_each_command) {
    const std::string table = CommandTable_print();
    EXPECT_EQ(std::ranges::count(table, '\n'), std::ssize(Catalogue_commands()) + 2);
    EXPECT_TRUE(table.starts_with(
        "| Console text | `avoipctl` | What it does | Data in the answer | Time-out |\n"
        "|---|---|---|---|---|\n"));
    EXPECT_NE(table.find("\n| `matrix get DECODER!` | `matrix get DECODER` | Show which encoder a "
                         "decoder shows | `rxsource`: `rxid` `txid` | 15 s |\n"),
              std::string::npos);
    EXPECT_NE(table.find("\n| `device all reboot!` | `device reboot-all` | Reboot all devices | "
                         "nothing | 5 s |\n"),
              std::string::npos);
}

TEST(CommandTable, stands_in_the_documentation_as_it_is_printed) {
    std::ifstream file(AVOIP_DOCS "/console.md");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(text.find("\n\n" + CommandTable_print() + "\n"), std::string::npos)
        << "Run scripts/docs.";
}

TEST(AnswerProblem, is_none_for_what_the_catalogue_promises) {
    EXPECT_EQ(Answer_problem(R"({"ack":{"cmd":"matrix sets","status":"success"}})",
                             command("matrix", "set")),
              "");
    EXPECT_EQ(Answer_problem(R"({"ack":{"cmd":"matrix get","status":"success"},)"
                             R"("rxsource":[{"rxid":"rx01","txid":"tx01"}]})",
                             command("matrix", "get")),
              "");
    EXPECT_EQ(Answer_problem(R"({"ack":{"cmd":"config get devices","status":"success"},)"
                             R"("devicelist":[]})",
                             command("devices", "")),
              "");
}

TEST(AnswerProblem, names_what_differs) {
    const Command& get = command("matrix", "get");
    EXPECT_EQ(Answer_problem("[", get), "the answer is not a JSON object");
    EXPECT_EQ(Answer_problem("{}", get),
              "the first member is not an \"ack\" of \"cmd\" and "
              "\"status\"");
    EXPECT_EQ(Answer_problem(R"({"ack":{"status":"success","cmd":"matrix get"}})", get),
              "the first member is not an \"ack\" of \"cmd\" and \"status\"");
    EXPECT_EQ(Answer_problem(R"({"ack":{"cmd":"matrix get","status":"failure"}})", get),
              "\"ack\" does not say that \"matrix get\" was a success");
    const std::string ack = R"({"ack":{"cmd":"matrix get","status":"success"})";
    EXPECT_EQ(Answer_problem(ack + "}", get), "the data is not one array \"rxsource\"");
    EXPECT_EQ(Answer_problem(ack + R"(,"rxsource":{}})", get),
              "the data is not one array \"rxsource\"");
    EXPECT_EQ(Answer_problem(ack + R"(,"rxsource":[],"more":1})", get),
              "the data is not one array \"rxsource\"");
    for (const char* const object :
         {R"({"txid":"a","rxid":"b"})", R"({"rxid":"a"})", R"({"rxid":"a","txid":1})", R"("a")",
          R"({"rxid":"a","txid":"b","x":"c"})"}) {
        EXPECT_EQ(Answer_problem(ack + R"(,"rxsource":[)" + object + "]}", get),
                  "an object of \"rxsource\" has other members");
    }
    EXPECT_EQ(Answer_problem(R"({"ack":{"cmd":"matrix sets","status":"success"},"x":1})",
                             command("matrix", "set")),
              "there are members beside \"ack\"");
}

TEST(AnswerRead, takes_members_in_the_order_of_the_shape) {
    const Answer answer = Answer_read(R"({"ack":{"cmd":"matrix get","status":"success"},)"
                                      R"("rxsource":[{"txid":"tx03","rxid":"rx01"},{"rxid":7}]})",
                                      command("matrix", "get").shape);
    EXPECT_TRUE(answer.succeeded());
    EXPECT_EQ(answer.cmd, "matrix get");
    EXPECT_EQ(answer.rows, (std::vector<Row>{{"rx01", "tx03"}, {"", ""}}));
}

TEST(AnswerRead, tells_what_is_no_answer_from_a_failure) {
    EXPECT_FALSE(Answer_read("nonsense", {}).readable);
    EXPECT_FALSE(Answer_read("", {}).readable);
    EXPECT_FALSE(Answer_read(R"({"ack":{"cmd":"x"}})", {}).readable);
    EXPECT_FALSE(Answer_read(R"({"ack":[]})", {}).readable);
    const Answer failure = Answer_read(R"({"ack":{"cmd":"x","status":"failure"}})", {});
    EXPECT_TRUE(failure.readable);
    EXPECT_FALSE(failure.succeeded());
}

}  // namespace avoip::ctl
