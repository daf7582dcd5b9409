// Beginnings of texts that end between characters.
#include "base/utf8.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Utf8Prefix, a_text_that_fits_is_whole) {
    EXPECT_EQ(Utf8_prefix("", 0), "");
    EXPECT_EQ(Utf8_prefix("abc", 3), "abc");
    EXPECT_EQ(Utf8_prefix("ab\xC3", 3), "ab\xC3");
}

TEST(Utf8Prefix, a_longer_one_is_cut) {
    EXPECT_EQ(Utf8_prefix("abc", 2), "ab");
    EXPECT_EQ(Utf8_prefix("abc", 0), "");
}

TEST(Utf8Prefix, never_ends_inside_a_character) {
    // Characters of two, three and four bytes.
    for (const std::string character : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x93\xBA"}) {
        const std::string text = "ab" + character + "c";
        for (std::size_t size = 2; size < 2 + character.size(); ++size) {
            EXPECT_EQ(Utf8_prefix(text, size), "ab") << size;
        }
        EXPECT_EQ(Utf8_prefix(text, 2 + character.size()), "ab" + character);
    }
}

TEST(Utf8Prefix, bytes_that_are_no_utf_8_are_cut_anywhere) {
    EXPECT_EQ(Utf8_prefix("\x80\x80\x80\x80", 2), "\x80\x80");
    EXPECT_EQ(Utf8_prefix("a\xC3\xA9\xA9\xA9", 3), "a\xC3\xA9");
    EXPECT_EQ(Utf8_prefix("a\xC3\xA9\xA9\xA9", 4), "a\xC3\xA9\xA9");
    EXPECT_EQ(Utf8_prefix("\xF0\x9F\x93\xBA\x80\x80", 5), "\xF0\x9F\x93\xBA\x80");
    EXPECT_EQ(Utf8_prefix("\xC3"
                          "abc",
                          2),
              "\xC3"
              "a");
}

}  // namespace
