// The JSON handles and the few functions that the rest of the daemon knows of JSON.
#include "base/json.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "json_allocations.hpp"

namespace {

std::string printed(const JsonTree& tree) {
    const JsonText text = Json_print(tree.get());
    return text != nullptr ? text.get() : "(null)";
}

std::string printed(const std::string& text) {
    return printed(Json_parse(text.c_str()));
}

TEST(Json, a_document_is_printed_without_blanks) {
    EXPECT_EQ(printed(" { \"a\" : [ 1 , \"b c\" ] ,\r\n\t\"d\" : { } } "),
              R"({"a":[1,"b c"],"d":{}})");
}

TEST(Json, what_follows_a_document_is_not_looked_at) {
    EXPECT_EQ(printed(R"({"a":"b"}}} x)"), R"({"a":"b"})");
}

TEST(Json, text_that_begins_no_document_is_none) {
    for (const char* text : {"", " ", "hello", "{", R"({"a":})", R"({"a":"b)", "{a:1}"}) {
        EXPECT_EQ(Json_parse(text), nullptr) << text;
    }
}

TEST(Json, members_stand_in_the_order_in_which_they_were_added) {
    const JsonTree root = Json_newObject();
    Json_addText(root.get(), "z", "1");
    cJSON* object = Json_addObject(root.get(), "a");
    cJSON* array = Json_addArray(root.get(), "m");
    Json_addText(object, "y", "2");
    Json_addText(Json_appendObject(array), "x", "3");
    Json_appendObject(array);
    EXPECT_EQ(printed(root), R"({"z":"1","a":{"y":"2"},"m":[{"x":"3"},{}]})");
}

TEST(Json, a_key_may_be_added_twice) {
    const JsonTree root = Json_newObject();
    Json_addText(root.get(), "a", "1");
    Json_addText(root.get(), "a", "2");
    EXPECT_EQ(printed(root), R"({"a":"1","a":"2"})");
}

TEST(Json, texts_are_escaped_when_they_are_printed) {
    const JsonTree root = Json_newObject();
    Json_addText(root.get(), "a", "quote \" backslash \\ slash / line\n\x01 \xC3\xA9");
    EXPECT_EQ(printed(root),
              "{\"a\":\"quote \\\" backslash \\\\ slash / line\\n\\u0001 \xC3\xA9\"}");
}

TEST(Json, a_key_is_found_without_regard_to_case) {
    const JsonTree root = Json_parse(R"({"DeviceId":"x"})");
    EXPECT_STREQ(Json_text(Json_find(root.get(), "deviceid")), "x");
    EXPECT_STREQ(Json_text(Json_find(root.get(), "DEVICEID")), "x");
    EXPECT_EQ(Json_find(root.get(), "device"), nullptr);
    EXPECT_EQ(Json_find(root.get(), "deviceidx"), nullptr);
}

TEST(Json, the_first_of_several_equal_keys_is_found) {
    const JsonTree root = Json_parse(R"({"b":"0","A":"1","a":"2"})");
    EXPECT_STREQ(Json_text(Json_find(root.get(), "a")), "1");
}

TEST(Json, nothing_is_found_in_what_is_no_object) {
    for (const char* text : {"[]", R"(["a"])", R"([{"a":"b"}])", R"("a")", "5", "true", "null"}) {
        const JsonTree root = Json_parse(text);
        ASSERT_NE(root, nullptr) << text;
        EXPECT_EQ(Json_find(root.get(), "a"), nullptr) << text;
    }
    EXPECT_EQ(Json_find(nullptr, "a"), nullptr);
}

TEST(Json, a_value_that_is_no_string_has_an_empty_text) {
    const JsonTree root =
        Json_parse(R"({"n":5,"t":true,"f":false,"0":null,"o":{"x":"y"},"a":["x"],"s":"text"})");
    for (const char* key : {"n", "t", "f", "0", "o", "a"}) {
        const cJSON* value = Json_find(root.get(), key);
        ASSERT_NE(value, nullptr) << key;
        EXPECT_STREQ(Json_text(value), "") << key;
    }
    EXPECT_STREQ(Json_text(Json_find(root.get(), "s")), "text");
    EXPECT_STREQ(Json_text(nullptr), "");
}

TEST(Json, a_null_node_is_accepted_everywhere) {
    EXPECT_EQ(Json_addText(nullptr, "a", "b"), nullptr);
    EXPECT_EQ(Json_addObject(nullptr, "a"), nullptr);
    EXPECT_EQ(Json_addArray(nullptr, "a"), nullptr);
    EXPECT_EQ(Json_appendObject(nullptr), nullptr);
    EXPECT_EQ(Json_print(nullptr), nullptr);
}

TEST(Json, a_null_node_leaves_nothing_allocated) {
    const JsonAllocations allocations;
    Json_addText(nullptr, "a", "b");
    Json_addObject(nullptr, "a");
    Json_addArray(nullptr, "a");
    Json_appendObject(nullptr);
    EXPECT_EQ(allocations.outstanding(), 0);
}

TEST(Json, the_handles_release_what_they_own) {
    const JsonAllocations allocations;
    {
        const JsonTree tree = Json_parse(R"({"a":["b"]})");
        const JsonText text = Json_print(tree.get());
        EXPECT_GT(allocations.outstanding(), 4);
    }
    EXPECT_EQ(allocations.outstanding(), 0);
}

TEST(Json, a_tree_left_unreleased_stays_allocated) {
    const JsonAllocations allocations;
    Json_leaveUnreleased(Json_parse(R"({"a":["b"]})"));
    EXPECT_GT(allocations.outstanding(), 4);
}

}  // namespace
