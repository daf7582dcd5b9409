// What is answered to which line by the daemon as a whole.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "bed/session.hpp"
#include "bed/transcript.hpp"
#include "system/families/answers.hpp"

namespace {

using families::failure;
using families::success;

constexpr const char* kHostid = "001122aabbcc";

std::string request(const std::string& cmd, const std::string& id) {
    return R"({"request":{"cmd":")" + cmd + R"(","hostid":"001122aabbcc","device":[{"id":")" + id +
           R"("}]}})";
}

class Dispatcher : public testing::Test {
  protected:
    std::string ask(const std::string& line) { return session.segment.ask(session.console, line); }

    /// Sends the line and lets the device refuse the request that it causes.
    std::string askRefused(const std::string& line, const std::string& cmd) {
        session.segment.clear();
        session.console.send(line);
        session.device.receive();
        session.device.reply(bed::replyText(cmd, "failure", kHostid, "dev"));
        return session.segment.awaitAnswer();
    }

    bed::Session session;
};

TEST_F(Dispatcher, an_unknown_line_is_answered_with_itself) {
    EXPECT_EQ(ask("config get devices !"),
              R"({"ack":{"cmd":"config get devices !","status":"failure"}})");
    EXPECT_EQ(ask("bogus!"), R"({"ack":{"cmd":"bogus!","status":"failure"}})");
    EXPECT_EQ(ask("config get devices now!"), failure("config get devices now!"));
    EXPECT_TRUE(session.device.hasHeardNothing());
}

TEST_F(Dispatcher, a_long_unknown_line_is_echoed_up_to_127_characters) {
    const std::string most(127, 'x');
    EXPECT_EQ(ask(most.substr(1) + "!"), failure(most.substr(1) + "!"));
    EXPECT_EQ(ask(most + "!"), failure(most));
    EXPECT_EQ(ask(std::string(4000, 'x') + "!"), failure(most));
}

TEST_F(Dispatcher, a_long_echo_never_ends_inside_a_character) {
    const std::string most(126, 'x');
    EXPECT_EQ(ask(most + "\xC3\xA9!"), failure(most));
    EXPECT_EQ(ask(most.substr(1) + "\xC3\xA9!"), failure(most.substr(1) + "\xC3\xA9"));
    EXPECT_EQ(ask(most.substr(1) + "\xE2\x82\xAC!"), failure(most.substr(1)));
}

TEST_F(Dispatcher, a_line_that_begins_with_matrix_get_is_that_command) {
    session.console.send("matrix getting somewhere!");
    EXPECT_EQ(session.device.receive().text, request("matrix get", "somewhere"));
}

TEST_F(Dispatcher, config_set_net_params_is_known_without_its_last_letter) {
    EXPECT_EQ(ask("config set net paramX tx01 1 1 10.0.0.9 255.0.0.0 10.0.0.254!"),
              success("config set net params"));
    EXPECT_TRUE(
        session.device.receive().text.starts_with(R"({"request":{"cmd":"config set net params",)"));
}

TEST_F(Dispatcher, a_failed_config_get_net_params_reports_the_set_command) {
    EXPECT_EQ(askRefused("config get net params dev!", "config get net params"),
              R"({"ack":{"cmd":"config set net params","status":"failure"}})");
}

TEST_F(Dispatcher, a_failed_serial_matrix_all_clear_reports_the_single_clear) {
    session.namespaces.removeAddress();
    EXPECT_EQ(ask("serial matrix all clear!"), failure("serial matrix clear"));
}

TEST_F(Dispatcher, vw_add_get_always_fails_and_reaches_no_device) {
    EXPECT_EQ(ask("vw add get!"), R"({"ack":{"cmd":"vw add ","status":"failure"}})");
    EXPECT_EQ(ask("vw add getall 1 2 3!"), R"({"ack":{"cmd":"vw add ","status":"failure"}})");
    EXPECT_TRUE(session.device.hasHeardNothing());
}

TEST_F(Dispatcher, longer_commands_are_tried_before_those_they_begin_with) {
    EXPECT_EQ(ask("matrix all set tx01!"), success("matrix all set"));
    EXPECT_EQ(ask("serial matrix all set tx01!"), success("serial matrix all set"));
    EXPECT_EQ(ask("serial matrix all clear!"), success("serial matrix all clear"));
}

TEST_F(Dispatcher, every_failed_command_reports_its_name) {
    session.namespaces.removeAddress();
    for (const bed::Recorded& unsent : bed::allRecords("unsent/")) {
        EXPECT_EQ(ask(unsent.line), unsent.answer);
    }
}

TEST_F(Dispatcher, the_segment_holds_the_prefix_one_answer_and_a_zero) {
    const auto bytes = session.segment.bytes();
    std::memset(bytes.data(), 'x', bytes.size());
    const std::string answer = ask("device showme rx01!");
    EXPECT_EQ(answer, success("device showme"));
    const std::string whole = "end\r\n" + answer + '\0';
    EXPECT_EQ(std::string(bytes.data(), whole.size()), whole);
    const std::string_view rest(bytes.data() + whole.size(), bytes.size() - whole.size());
    EXPECT_EQ(rest.find_first_not_of('x'), std::string_view::npos);
}

TEST_F(Dispatcher, a_short_answer_ends_before_what_a_longer_one_left) {
    ask(std::string(120, 'x') + "!");
    EXPECT_EQ(ask("!"), failure("!"));
}

TEST_F(Dispatcher, lines_of_several_connections_are_run_at_the_same_time) {
    bed::Console slow;
    slow.send("config get rx params rx01!");
    EXPECT_EQ(session.device.receive().text, request("config get rx params", "rx01"));
    EXPECT_EQ(ask("hello!"), failure("hello!"));
    session.segment.clear();
    session.device.reply(bed::replyText("config get rx params", "failure", kHostid, "rx01"));
    EXPECT_EQ(session.segment.awaitAnswer(), failure("config get rx params"));
}

}  // namespace
