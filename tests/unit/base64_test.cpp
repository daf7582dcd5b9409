#include "base64.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// Encodes into exactly the room that is promised to be enough.
std::string encoded(std::string_view bytes) {
    std::vector<char> text(4 * ((bytes.size() + 2) / 3));
    const int count =
        base64_encode(text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                      static_cast<int>(bytes.size()));
    EXPECT_EQ(static_cast<std::size_t>(count), text.size());
    return {text.data(), text.size()};
}

/// Decodes into exactly the room that is promised to be enough.
std::string decoded(std::string_view text) {
    std::vector<unsigned char> bytes(text.size() / 4 * 3);
    const int count = base64_decode(bytes.data(), text.data(), static_cast<int>(text.size()));
    return {bytes.begin(), bytes.begin() + count};
}

TEST(Base64, the_vectors_of_the_rfc_go_both_ways) {
    constexpr std::string_view kVectors[][2] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
    };
    for (const auto& [bytes, text] : kVectors) {
        EXPECT_EQ(encoded(bytes), text);
        EXPECT_EQ(decoded(text), bytes);
    }
}

TEST(Base64, uses_the_whole_alphabet_in_its_order) {
    std::string bytes;
    for (unsigned i = 0; i < 64; i += 4) {
        const unsigned group = i << 18 | (i + 1) << 12 | (i + 2) << 6 | (i + 3);
        bytes += {static_cast<char>(group >> 16), static_cast<char>(group >> 8),
                  static_cast<char>(group)};
    }
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EXPECT_EQ(encoded(bytes), kAlphabet);
    EXPECT_EQ(decoded(kAlphabet), bytes);
}

TEST(Base64, random_bytes_come_back) {
    std::mt19937 random(4648);
    for (std::size_t length = 0; length < 600; ++length) {
        std::string bytes(length, '\0');
        std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
        ASSERT_EQ(decoded(encoded(bytes)), bytes) << length << " bytes";
    }
}

TEST(Base64, encoding_writes_no_terminating_zero) {
    char text[] = "........";
    EXPECT_EQ(base64_encode(text, reinterpret_cast<const unsigned char*>("f"), 1), 4);
    EXPECT_STREQ(text, "Zg==....");
}

TEST(Base64, the_last_group_gives_as_many_bytes_as_it_has_characters_before_the_fill) {
    EXPECT_EQ(decoded("QQ=="), "A");
    EXPECT_EQ(decoded("QUI="), "AB");
    EXPECT_EQ(decoded("QUJD"), "ABC");
    EXPECT_EQ(decoded("QUJDQQ=="), "ABCA");
}

TEST(Base64, a_third_fill_without_a_fourth_makes_the_second_byte_the_fourth_character) {
    EXPECT_EQ(decoded("QUI=QQ=D"), std::string("AB\0A\x03", 5));
    EXPECT_EQ(decoded("QV=/"), "A?");
}

TEST(Base64, fill_in_front_of_the_last_group_counts_as_zero) {
    EXPECT_EQ(decoded("QQ==QUJD"), std::string("A\0\0ABC", 6));
    EXPECT_EQ(decoded("===="), std::string(1, '\0'));
}

TEST(Base64, characters_outside_the_alphabet_count_as_zero) {
    EXPECT_EQ(decoded("Q-_\xFF"), std::string("@\0\0", 3));
    EXPECT_EQ(decoded(std::string("Q\0\n ", 4)), std::string("@\0\0", 3));
}

TEST(Base64DeathTest, a_length_that_is_no_multiple_of_four_ends_the_process_in_every_build) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const std::string_view text : {"A", "AB", "ABC", "ABCDE", "AP8", "AP8A="}) {
        EXPECT_EXIT(decoded(text), testing::KilledBySignal(SIGABRT),
                    "base64_decode.*Assertion `0 == bytes % 4' failed");
    }
}

}  // namespace
