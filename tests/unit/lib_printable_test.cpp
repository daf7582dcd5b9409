// What a device may show of its texts.
#include <string>

#include "gtest/gtest.h"
#include "lib/base/printable.hpp"

namespace avoip {

TEST(Printable, leaves_texts_as_they_are) {
    for (const std::string text :
         {"", "TX-1", "Zürich\xC2\xA0", "会議室", "\xF0\x9F\x93\xBA", "a\\b\"c"}) {
        EXPECT_EQ(Printable_text(text), text);
        EXPECT_EQ(Printable_json(text), text);
    }
}

TEST(Printable, shows_no_control_characters) {
    EXPECT_EQ(Printable_text("a\x1b[2Jb\x7f\n\t"), "a?[2Jb???");
    EXPECT_EQ(Printable_text(std::string("a\0b", 3)), "a?b");
    // U+009B, which begins a sequence of control on many terminals, and U+0085.
    EXPECT_EQ(Printable_text("a\xC2\x9B"
                             "2J\xC2\x85"),
              "a?2J?");
}

TEST(Printable, shows_nothing_that_changes_the_direction_of_writing) {
    for (const char* const mark :
         {"\u061C", "\u200E", "\u200F", "\u202A", "\u202B", "\u202C", "\u202D", "\u202E", "\u2066",
          "\u2067", "\u2068", "\u2069", "\u2028", "\u2029"}) {
        EXPECT_EQ(Printable_text(std::string("a") + mark + "b"), "a?b");
    }
    EXPECT_EQ(Printable_text("\u200D\u202F\u2065\u206A"), "\u200D\u202F\u2065\u206A");
}

TEST(Printable, shows_no_byte_that_is_no_utf_8) {
    EXPECT_EQ(Printable_text("\xC2"), "?");
    EXPECT_EQ(Printable_text("\x9B"), "?");
    EXPECT_EQ(Printable_text("\xC0\x80"), "??");
    EXPECT_EQ(Printable_text("\xE2\x80"), "??");
    EXPECT_EQ(Printable_text("\xE2\x80z"), "??z");
    EXPECT_EQ(Printable_text("\xED\xA0\x80"), "???");
    EXPECT_EQ(Printable_text("\xE0\x80\xAF"), "???");
    EXPECT_EQ(Printable_text("\xF4\x90\x80\x80"), "????");
    EXPECT_EQ(Printable_text("\xF5\x80"), "??");
}

TEST(Printable, escapes_it_all_in_json) {
    EXPECT_EQ(Printable_json("{\"alias\":\"a\u202Eb\x7f\xC2\x9B\"}\n"),
              "{\"alias\":\"a\\u202eb\\u007f\\u009b\"}\n");
    EXPECT_EQ(Printable_json("\"\xFF\""), "\"\\ufffd\"");
    EXPECT_EQ(Printable_json("\"\t\""), "\"\\u0009\"");
}

}  // namespace avoip
