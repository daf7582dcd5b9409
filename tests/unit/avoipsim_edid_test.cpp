// The screens of the fleet, and the base64 text in which they travel.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "avoipsim/base64.hpp"
#include "avoipsim/edid.hpp"

namespace {

int sum(std::span<const std::uint8_t> bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), 0) % 256;
}

std::string nameOf(const Edid& edid) {
    const std::vector<std::uint8_t> tag{0, 0, 0, 0xFC, 0};
    const auto found = std::search(edid.begin() + 54, edid.begin() + 126, tag.begin(), tag.end());
    const std::string name(found + 5, found + 18);
    return name.substr(0, name.find('\n'));
}

std::string encode(const std::string& text) {
    return Base64_encode(
        std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::string decode(const std::string& text) {
    const auto bytes = Base64_decode(text);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "(refused)";
}

TEST(AvoipsimEdid, begins_with_the_header) {
    const Edid edid = Edid_make("Screen", 1);
    const std::vector<std::uint8_t> header{0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    EXPECT_TRUE(std::equal(header.begin(), header.end(), edid.begin()));
}

TEST(AvoipsimEdid, both_blocks_have_a_right_checksum) {
    for (const std::uint32_t serial : {0U, 1U, 255U, 1024U, 0xFFFFFFFFU}) {
        const Edid edid = Edid_make("Screen " + std::to_string(serial), serial);
        const std::span<const std::uint8_t> bytes(edid);
        EXPECT_EQ(sum(bytes.first(128)), 0);
        EXPECT_EQ(sum(bytes.last(128)), 0);
    }
}

TEST(AvoipsimEdid, announces_its_one_extension) {
    const Edid edid = Edid_make("Screen", 1);
    EXPECT_EQ(edid[126], 1);
    EXPECT_EQ(edid[128], 0x02);
}

TEST(AvoipsimEdid, carries_name_and_serial_number) {
    const Edid edid = Edid_make("Sim RX-0001", 0x01020304);
    EXPECT_EQ(nameOf(edid), "Sim RX-0001");
    EXPECT_EQ(edid[12], 4);
    EXPECT_EQ(edid[15], 1);
    EXPECT_EQ(nameOf(Edid_make("A name of thirty characters   ", 1)), "A name of thi");
}

TEST(AvoipsimBase64, encodes_each_length_of_a_last_group) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("H"), "SA==");
    EXPECT_EQ(encode("He"), "SGU=");
    EXPECT_EQ(encode("Hel"), "SGVs");
    EXPECT_EQ(encode("Hello"), "SGVsbG8=");
    EXPECT_EQ(encode("\xFF\xFE\xFD"), "//79");
}

TEST(AvoipsimBase64, decodes_what_it_encodes) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
        EXPECT_EQ(decode(encode(bytes)), bytes);
    }
}

TEST(AvoipsimBase64, refuses_what_is_no_base64) {
    for (const char* text : {"=", "SGU", "SG=s", "S===", "SG!s", "SGVs="}) {
        EXPECT_EQ(decode(text), "(refused)") << text;
    }
}

}  // namespace
