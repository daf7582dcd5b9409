// Texts of a fixed width.
#include "base/fixed_text.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FixedText, an_initialised_text_is_empty) {
    const FixedText<32> text{};
    EXPECT_EQ(text.view(), "");
    EXPECT_STREQ(text.c_str(), "");
}

TEST(FixedText, it_takes_exactly_its_width) {
    EXPECT_EQ(sizeof(FixedText<32>), 32U);
    EXPECT_EQ(sizeof(FixedText<128>), 128U);
    EXPECT_EQ(sizeof(DeviceId), 32U);
}

TEST(FixedText, a_text_one_shorter_than_the_width_is_kept_whole) {
    FixedText<8> text{};
    text.set("1234567");
    EXPECT_STREQ(text.c_str(), "1234567");
}

TEST(FixedText, a_longer_text_is_cut_and_terminated) {
    FixedText<8> text{};
    text.set("12345678");
    EXPECT_STREQ(text.c_str(), "1234567");
    text.set("123456789012345678901234567890");
    EXPECT_STREQ(text.c_str(), "1234567");
}

TEST(FixedText, a_shorter_text_takes_the_place_of_a_longer_one) {
    FixedText<8> text{};
    text.set("long");
    text.set("ab");
    EXPECT_EQ(text.view(), "ab");
    text.set("");
    EXPECT_EQ(text.view(), "");
}

TEST(FixedText, a_width_of_one_holds_nothing) {
    FixedText<1> text{};
    text.set("a");
    EXPECT_EQ(text.view(), "");
}

TEST(FixedText, a_text_without_terminator_is_read_to_its_width) {
    FixedText<8> text{};
    text.bytes.fill('x');
    EXPECT_EQ(text.view(), "xxxxxxxx");
}

}  // namespace
