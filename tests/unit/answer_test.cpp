// The envelope of every answer, and how it is stored.
#include "kit/answer.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

std::string stored(const JsonTree& answer) {
    std::vector<char> buffer(kAnswerCapacity, '\0');
    Answer_store(answer, buffer.data());
    return buffer.data();
}

TEST(Answer, of_failure_is_its_ack_and_nothing_else) {
    EXPECT_EQ(stored(Answer_failure("matrix get")),
              R"({"ack":{"cmd":"matrix get","status":"failure"}})");
}

TEST(Answer, of_success_without_data_is_its_ack_and_nothing_else) {
    EXPECT_EQ(stored(Answer_success("matrix set")),
              R"({"ack":{"cmd":"matrix set","status":"success"}})");
}

TEST(Answer, of_success_has_its_data_behind_the_ack_in_the_order_added) {
    const JsonTree answer = Answer_success("c");
    Json_addText(answer.get(), "second", "2");
    Json_addText(answer.get(), "first", "1");
    EXPECT_EQ(stored(answer), R"({"ack":{"cmd":"c","status":"success"},"second":"2","first":"1"})");
}

TEST(Answer, takes_an_array_of_one_object) {
    const JsonTree answer = Answer_success("c");
    Json_addText(Answer_addSingle(answer, "list"), "key", "value");
    EXPECT_EQ(stored(answer), R"({"ack":{"cmd":"c","status":"success"},"list":[{"key":"value"}]})");
}

TEST(Answer, names_its_command_as_a_json_text) {
    EXPECT_EQ(stored(Answer_failure("a \"b\" \\ \x01 \t \xC3\xA4!")),
              R"({"ack":{"cmd":"a \"b\" \\ \u0001 \t )"
              "\xC3\xA4"
              R"(!","status":"failure"}})");
}

TEST(Answer, is_stored_without_a_zero_behind_it) {
    const std::string text = R"({"ack":{"cmd":"c","status":"failure"}})";
    std::string buffer(text.size() + 10, 'x');
    Answer_store(Answer_failure("c"), buffer.data());
    EXPECT_EQ(buffer, text + "xxxxxxxxxx");
}

TEST(Answer, is_cut_where_the_buffer_ends_with_its_zero_left) {
    const JsonTree answer = Answer_success("c");
    Json_addText(answer.get(), "key", std::string(kAnswerCapacity, 'x').c_str());
    std::vector<char> buffer(kAnswerCapacity, '\0');
    Answer_store(answer, buffer.data());
    EXPECT_EQ(std::strlen(buffer.data()), kAnswerCapacity - 1);
    EXPECT_EQ(buffer[kAnswerCapacity - 2], 'x');
}

TEST(Answer, that_could_not_be_built_stores_nothing) {
    EXPECT_EQ(stored(JsonTree()), "");
}

}  // namespace
