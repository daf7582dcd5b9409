// What the lock file says, and whose an answer is.
#include <string>

#include "gtest/gtest.h"
#include "lib/frontend/answer_name.hpp"
#include "lib/frontend/notes.hpp"

namespace {

using avoip::Notes;
using avoip::OwedAnswer;

std::string printed(const Notes& notes) {
    char text[avoip::kNotesMax];
    const std::size_t length = avoip::Notes_print(notes, text);
    EXPECT_EQ(std::string(text).size(), length);
    return text;
}

OwedAnswer owed(std::int64_t until_ms, std::string_view name, std::string_view other = "") {
    OwedAnswer made;
    made.until_ms = until_ms;
    made.pid = 4711;
    made.number = static_cast<int>(until_ms);
    avoip::OwedAnswer_setName(made, 0, name);
    avoip::OwedAnswer_setName(made, 1, other);
    return made;
}

std::string nameOf(const std::string& answer) {
    const avoip::AnswerName name = avoip::Answer_name(answer.c_str());
    return name.exists ? name.text : "none";
}

constexpr const char* kText =
    "avoip 1\n"
    "daemon 48213\n"
    "clean\n"
    "owed 120500 104000 4711 3 matrix get\n"
    "owed 121000 0 17 1 matrix sets\n"
    "or matrix set\n"
    "end\n";

}  // namespace

TEST(Notes, are_read_as_they_are_written) {
    const Notes notes = avoip::Notes_parse(kText);
    EXPECT_EQ(notes.daemon, 48213U);
    EXPECT_TRUE(notes.clean);
    ASSERT_EQ(notes.owedCount, 2U);
    EXPECT_EQ(notes.owed[0].until_ms, 120500);
    EXPECT_EQ(notes.owed[0].sharedUntil_ms, 104000);
    EXPECT_EQ(notes.owed[0].pid, 4711);
    EXPECT_EQ(notes.owed[0].number, 3);
    EXPECT_STREQ(notes.owed[0].names[0].data(), "matrix get");
    EXPECT_STREQ(notes.owed[0].names[1].data(), "");
    EXPECT_STREQ(notes.owed[1].names[0].data(), "matrix sets");
    EXPECT_STREQ(notes.owed[1].names[1].data(), "matrix set");
    EXPECT_EQ(printed(notes), kText);
}

TEST(Notes, are_none_in_a_text_that_was_not_finished_or_is_none) {
    const std::string whole = kText;
    for (const std::string& text :
         {std::string(), whole.substr(0, whole.size() - 4), whole.substr(1), std::string("hello"),
          std::string("avoip 2\nclean\nend\n"), std::string("avoip 1\nclean\nend of it\n")}) {
        const Notes notes = avoip::Notes_parse(text);
        EXPECT_EQ(printed(notes), "avoip 1\ndaemon 0\nend\n") << text;
    }
}

TEST(Notes, end_at_their_end_whatever_is_left_behind_it_of_a_longer_text) {
    const Notes notes = avoip::Notes_parse("avoip 1\nend\nclean\nowed 1 1 1 1 x\nend\n");
    EXPECT_FALSE(notes.clean);
    EXPECT_EQ(notes.owedCount, 0U);
}

TEST(Notes, pass_over_lines_that_they_do_not_know) {
    const Notes notes = avoip::Notes_parse(
        "avoip 1\nor nothing\nweather fine\n\ncleanish\nowed\nowed x y\nclean\nend\n");
    EXPECT_TRUE(notes.clean);
    ASSERT_EQ(notes.owedCount, 1U);
    EXPECT_EQ(notes.owed[0].until_ms, 0);
    EXPECT_STREQ(notes.owed[0].names[0].data(), "");
}

TEST(Notes, keep_the_latest_when_there_are_too_many) {
    Notes notes;
    const std::string longest(avoip::kNameMax + 10, 'x');
    for (std::size_t i = 0; i < avoip::kOwedMax + 2; ++i) {
        avoip::Notes_add(notes, owed(static_cast<std::int64_t>(i), longest, longest));
    }
    EXPECT_EQ(notes.owedCount, avoip::kOwedMax);
    EXPECT_EQ(notes.owed[0].until_ms, 2);
    EXPECT_EQ(avoip::Notes_find(notes, 4711, 1), nullptr);
    EXPECT_EQ(avoip::Notes_find(notes, 4711, 17), &notes.owed[15]);
    EXPECT_EQ(avoip::Notes_find(notes, 4712, 17), nullptr);
    const std::string text = printed(notes);
    EXPECT_LT(text.size(), avoip::kNotesMax / 2 + avoip::kNotesMax / 4);
    EXPECT_EQ(printed(avoip::Notes_parse(text)), text);
}

TEST(Notes, lapse_with_time_and_when_they_were_written_before_the_machine_was_started) {
    Notes notes;
    notes.daemon = 7;
    notes.clean = true;
    avoip::Notes_add(notes, owed(1000, "a"));
    avoip::Notes_add(notes, owed(1001, "b"));
    avoip::Notes_add(notes, owed(100'000'000, "c"));
    avoip::Notes_lapse(notes, 7, 1000);
    EXPECT_TRUE(notes.clean);
    ASSERT_EQ(notes.owedCount, 1U);
    EXPECT_STREQ(notes.owed[0].names[0].data(), "b");
}

TEST(Notes, lapse_with_the_daemon_that_they_are_told_of) {
    Notes notes = avoip::Notes_parse(kText);
    avoip::Notes_lapse(notes, 0, 0);
    EXPECT_EQ(printed(notes), kText);
    avoip::Notes_lapse(notes, 48213, 0);
    EXPECT_EQ(printed(notes), kText);
    avoip::Notes_lapse(notes, 48214, 0);
    EXPECT_EQ(printed(notes), "avoip 1\ndaemon 48214\nend\n");
}

TEST(OwedAnswer, has_one_name_or_two_or_any) {
    const OwedAnswer two = owed(1, "matrix sets", "matrix set");
    EXPECT_TRUE(avoip::OwedAnswer_isNamed(two, "matrix sets"));
    EXPECT_TRUE(avoip::OwedAnswer_isNamed(two, "matrix set"));
    EXPECT_FALSE(avoip::OwedAnswer_isNamed(two, "matrix get"));
    EXPECT_FALSE(avoip::OwedAnswer_isNamed(two, ""));
    EXPECT_FALSE(avoip::OwedAnswer_isNamed(owed(1, "matrix get"), ""));
    EXPECT_TRUE(avoip::OwedAnswer_isNamed(owed(1, avoip::kAnyName), "matrix get"));
}

TEST(OwedAnswer, has_no_line_end_in_its_name) {
    EXPECT_STREQ(owed(1, "a\nclean\n").names[0].data(), "a");
}

TEST(AnswerName, is_what_the_answer_says_of_itself) {
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":"matrix get","status":"success"},"rxsource":[]})"),
              "matrix get");
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":"","status":"failure"}})"), "");
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":"a\"b\\c\/\b\f\n\r\t\u001b\u007fä!","status":"failure"}})"),
              "a\"b\\c/\b\f\n\r\t\x1b\x7fä!");
}

TEST(AnswerName, is_none_in_what_does_not_begin_like_an_answer) {
    for (const char* const text : {"", "hello", R"({"ack":{"status":"success","cmd":"x"}})",
                                   R"({ "ack":{"cmd":"x"}})", R"({"ack":{"cmd":7}})"}) {
        EXPECT_EQ(nameOf(text), "none") << text;
    }
}

TEST(AnswerName, ends_where_a_cut_answer_ends) {
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":"matr)"), "matr");
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":"matr\)"), "matr\\");
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":"matr\u00)"), "matru00");
    EXPECT_EQ(nameOf(R"({"ack":{"cmd":")" + std::string(200, 'x') + "\""),
              std::string(avoip::kNameMax, 'x'));
}

TEST(AnswerName, fits_when_it_is_the_same_or_was_cut_by_the_daemon) {
    EXPECT_TRUE(avoip::AnswerName_fits("matrix get", "matrix get"));
    EXPECT_FALSE(avoip::AnswerName_fits("matrix", "matrix get"));
    EXPECT_FALSE(avoip::AnswerName_fits("matrix gets", "matrix get"));
    const std::string line(200, 'x');
    EXPECT_TRUE(avoip::AnswerName_fits(line.substr(0, 127), line));
    EXPECT_TRUE(avoip::AnswerName_fits(line.substr(0, 124), line));
    EXPECT_FALSE(avoip::AnswerName_fits(line.substr(0, 123), line));
    EXPECT_FALSE(avoip::AnswerName_fits(line.substr(0, 126) + "y", line));
    EXPECT_TRUE(avoip::AnswerName_fits(line.substr(0, 124), line.substr(0, 127)));
}
