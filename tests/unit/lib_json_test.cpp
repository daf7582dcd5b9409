// JSON for everything beside the daemon: what is read, and what is refused.
#include "lib/base/json.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace avoip {
namespace {

std::vector<std::string> keys(const cJSON* object) {
    std::vector<std::string> found;
    for (const cJSON* member : Json_items(object)) {
        found.emplace_back(Json_key(member));
    }
    return found;
}

TEST(LibJson, reads_one_document_with_blanks_around_it) {
    EXPECT_EQ(Json_print(Json_parse(R"({"a":[1,"b c"],"d":{}})").get()),
              R"({"a":[1,"b c"],"d":{}})");
    EXPECT_EQ(Json_print(Json_parse(" { \"a\" : \"b\" } \r\n\t").get()), R"({"a":"b"})");
}

TEST(LibJson, refuses_what_is_not_one_document) {
    for (const std::string_view text : {"", " ", "hello", "{", "{\"a\":", "{\"1\":1,", "{\"a\":\"b",
                                        "{a:1}", "{} {}", "{}x", "[1]]"}) {
        EXPECT_EQ(Json_parse(text), nullptr) << text;
    }
    EXPECT_EQ(Json_parse(std::string_view("{}\0", 3)), nullptr);
}

TEST(LibJson, reads_no_further_than_the_text_goes) {
    const std::string_view text = R"({"a":"b"}rest)";
    EXPECT_NE(Json_parse(text.substr(0, 9)), nullptr);
    EXPECT_EQ(Json_parse(text.substr(0, 8)), nullptr);
    EXPECT_EQ(Json_parseBeginning(text.substr(0, 8)), nullptr);
}

TEST(LibJson, reads_the_document_that_a_text_begins_with) {
    EXPECT_EQ(Json_print(Json_parseBeginning("{\"a\":\"b\"}\r\n\x01\xFF").get()), R"({"a":"b"})");
    EXPECT_EQ(Json_parseBeginning("x{}"), nullptr);
}

TEST(LibJson, a_key_is_compared_letter_by_letter) {
    const Json root = Json_parse(R"({"Cmd":"1","cmd":"2","cmd":"3"})");
    EXPECT_EQ(Json_text(root.get(), "cmd"), "2");
    EXPECT_EQ(Json_text(root.get(), "Cmd"), "1");
    EXPECT_EQ(Json_text(root.get(), "CMD"), std::nullopt);
}

TEST(LibJson, only_a_text_is_a_text) {
    const Json root = Json_parse(R"({"text":"","number":1,"true":true,"null":null,"object":{}})");
    EXPECT_EQ(Json_text(root.get(), "text"), "");
    for (const char* key : {"number", "true", "null", "object", "missing"}) {
        EXPECT_EQ(Json_text(root.get(), key), std::nullopt) << key;
    }
}

TEST(LibJson, items_come_in_their_order) {
    const Json root = Json_parse(R"({"z":1,"a":["x","y"],"m":{}})");
    EXPECT_EQ(keys(root.get()), (std::vector<std::string>{"z", "a", "m"}));
    std::string texts;
    for (const cJSON* item : Json_items(Json_find(root.get(), "a"))) {
        EXPECT_EQ(Json_key(item), "");
        texts += Json_text(item).value_or("?");
    }
    EXPECT_EQ(texts, "xy");
    EXPECT_TRUE(keys(Json_find(root.get(), "m")).empty());
    EXPECT_TRUE(keys(Json_find(root.get(), "z")).empty());
}

TEST(LibJson, objects_and_arrays_are_told_apart) {
    const Json root = Json_parse(R"({"array":[],"object":{}})");
    EXPECT_TRUE(Json_isArray(Json_find(root.get(), "array")));
    EXPECT_FALSE(Json_isObject(Json_find(root.get(), "array")));
    EXPECT_TRUE(Json_isObject(Json_find(root.get(), "object")));
    EXPECT_FALSE(Json_isArray(Json_find(root.get(), "object")));
}

TEST(LibJson, a_null_node_holds_nothing_and_takes_nothing) {
    cJSON* const nothing = nullptr;
    EXPECT_EQ(Json_find(nothing, "a"), nullptr);
    EXPECT_EQ(Json_text(nothing), std::nullopt);
    EXPECT_EQ(Json_key(nothing), "");
    EXPECT_FALSE(Json_isObject(nothing));
    EXPECT_FALSE(Json_isArray(nothing));
    EXPECT_TRUE(keys(nothing).empty());
    EXPECT_EQ(Json_print(nothing), "");
    EXPECT_EQ(Json_addObject(nothing, "a"), nullptr);
    EXPECT_EQ(Json_addArray(nothing, "a"), nullptr);
    EXPECT_EQ(Json_appendObject(nothing), nullptr);
    Json_addText(nothing, "a", "b");
    Json_appendText(nothing, "b");
    Json_replaceText(nothing, "a", "b");
}

TEST(LibJson, what_is_added_stands_behind_what_is_there) {
    const Json root = Json_newObject();
    Json_addText(root.get(), "z", "1");
    cJSON* const array = Json_addArray(root.get(), "m");
    Json_addText(Json_addObject(root.get(), "a"), "y", "quote \" line\n");
    Json_addText(Json_appendObject(array), "x", "3");
    Json_appendText(array, "text");
    EXPECT_EQ(Json_print(root.get()),
              R"({"z":"1","m":[{"x":"3"},"text"],"a":{"y":"quote \" line\n"}})");
}

TEST(LibJson, values_of_all_kinds_are_added) {
    const Json root = Json_newObject();
    Json_addTextOrNull(root.get(), "text", "a");
    Json_addTextOrNull(root.get(), "none", "");
    Json_addWhole(root.get(), "whole", -9223372036854775807);
    Json_addTruth(root.get(), "right", true);
    Json_addTruth(root.get(), "wrong", false);
    Json_addNull(root.get(), "null");
    Json_addPrinted(root.get(), "printed", R"([{"a":1}])");
    EXPECT_EQ(Json_print(root.get()),
              R"({"text":"a","none":null,"whole":-9223372036854775807,"right":true,"wrong":false,)"
              R"("null":null,"printed":[{"a":1}]})");
}

TEST(LibJson, a_value_of_another_kind_is_none) {
    const Json root = Json_parse(R"({"n":12,"f":1.5,"e":1e300,"t":true,"s":"1","z":null})");
    const auto at = [&](const char* key) { return Json_find(root.get(), key); };
    EXPECT_EQ(Json_whole(at("n")), 12);
    EXPECT_EQ(Json_whole(at("f")), std::nullopt);
    EXPECT_EQ(Json_whole(at("e")), std::nullopt);
    EXPECT_EQ(Json_whole(at("s")), std::nullopt);
    EXPECT_EQ(Json_whole(at("missing")), std::nullopt);
    EXPECT_EQ(Json_truth(at("t")), true);
    EXPECT_EQ(Json_truth(at("n")), std::nullopt);
    EXPECT_TRUE(Json_isNull(at("z")));
    EXPECT_FALSE(Json_isNull(at("missing")));
}

TEST(LibJson, people_get_lines) {
    EXPECT_EQ(Json_printForPeople(Json_parse(R"({"a":"b"})").get()), "{\n\t\"a\":\t\"b\"\n}");
}

TEST(LibJson, a_value_is_replaced_at_its_place) {
    const Json root = Json_parse(R"({"a":"1","b":"2","c":"3"})");
    Json_replaceText(root.get(), "b", "two");
    Json_replaceText(root.get(), "B", "no such member");
    EXPECT_EQ(Json_print(root.get()), R"({"a":"1","b":"two","c":"3"})");
}

TEST(LibJson, an_item_is_taken_out) {
    const Json root = Json_parse(R"({"a":{"b":"1","c":"2"}})");
    cJSON* const object = Json_find(root.get(), "a");
    Json_remove(object, Json_find(object, "b"));
    EXPECT_EQ(Json_print(root.get()), R"({"a":{"c":"2"}})");
    Json_remove(root.get(), object);
    EXPECT_EQ(Json_print(root.get()), "{}");
}

}  // namespace
}  // namespace avoip
