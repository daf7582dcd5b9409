#include <string>
#include <vector>

#include "avoipctl/edid.hpp"
#include "gtest/gtest.h"

namespace avoip::ctl {
namespace {

// A monitor "AVO", made for this test; edid-decode agrees with what is expected of it here.
const std::string kMonitor =
    "00FFFFFFFFFFFF0006CF341215CD5B0707210104800000000000000000000000"
    "00000000000001010101010101010101010101010101023A801871382D40582C"
    "450000000000001E000000FF00534E2D303034320A2020202020000000FC0057"
    "616C6C20446973706C61790A0000001000000000000000000000000000000040";

std::vector<std::uint8_t> monitor() {
    return Edid_bytes(kMonitor);
}

EdidFacts factsOf(const std::vector<std::uint8_t>& bytes) {
    EdidFacts facts;
    EXPECT_TRUE(Edid_read(bytes, facts));
    return facts;
}

}  // namespace

TEST(EdidBytes, are_two_digits_each_in_either_case) {
    EXPECT_EQ(Edid_bytes("00fFA5"), (std::vector<std::uint8_t>{0x00, 0xFF, 0xA5}));
}

TEST(EdidBytes, are_none_when_the_text_is_not_of_pairs_of_digits) {
    EXPECT_TRUE(Edid_bytes("").empty());
    EXPECT_TRUE(Edid_bytes("ABC").empty());
    EXPECT_TRUE(Edid_bytes("0G").empty());
    EXPECT_TRUE(Edid_bytes("-1").empty());
    EXPECT_TRUE(Edid_bytes(" 1").empty());
}

TEST(EdidFacts, are_read_from_the_first_block) {
    const EdidFacts facts = factsOf(monitor());
    EXPECT_EQ(facts.manufacturer, "AVO");
    EXPECT_EQ(facts.product, "0x1234, Wall Display");
    EXPECT_EQ(facts.serial, "123456789, SN-0042");
    EXPECT_EQ(facts.made, "2023, week 7");
    EXPECT_EQ(facts.preferredMode, "1920x1080 at 60.00 Hz");
    EXPECT_TRUE(facts.checksumIsRight);
}

TEST(EdidFacts, say_when_the_checksum_is_wrong) {
    auto bytes = monitor();
    bytes[127] ^= 1;
    EXPECT_FALSE(factsOf(bytes).checksumIsRight);
}

TEST(EdidFacts, leave_out_a_week_that_is_not_given) {
    auto bytes = monitor();
    bytes[16] = 0;
    EXPECT_EQ(factsOf(bytes).made, "2023");
}

TEST(EdidFacts, name_an_interlaced_mode_by_its_whole_picture) {
    auto bytes = monitor();
    const auto timing = Edid_bytes("011D8018711C1620582C250000000000009E");
    std::copy(timing.begin(), timing.end(), bytes.begin() + 54);
    EXPECT_EQ(factsOf(bytes).preferredMode, "1920x1080 interlaced at 60.00 Hz");
}

TEST(EdidFacts, have_no_mode_where_the_first_descriptor_is_no_timing) {
    auto bytes = monitor();
    bytes[54] = bytes[55] = 0;
    EXPECT_EQ(factsOf(bytes).preferredMode, "");
}

TEST(EdidFacts, have_no_mode_where_a_timing_has_no_pixels) {
    auto bytes = monitor();
    std::fill(bytes.begin() + 56, bytes.begin() + 72, std::uint8_t{0});
    EXPECT_EQ(factsOf(bytes).preferredMode, "");
}

TEST(EdidFacts, are_not_read_from_too_few_bytes_or_another_beginning) {
    EdidFacts facts;
    auto bytes = monitor();
    bytes.pop_back();
    EXPECT_FALSE(Edid_read(bytes, facts));
    bytes = monitor();
    bytes[7] = 1;
    EXPECT_FALSE(Edid_read(bytes, facts));
}

TEST(EdidText, is_the_facts_and_all_bytes) {
    EXPECT_EQ(Edid_text(kMonitor),
              "manufacturer    AVO\n"
              "product         0x1234, Wall Display\n"
              "serial number   123456789, SN-0042\n"
              "made            2023, week 7\n"
              "preferred mode  1920x1080 at 60.00 Hz\n"
              "size            128 bytes\n"
              "checksum        right\n"
              "\n"
              "0000  00 ff ff ff ff ff ff 00 06 cf 34 12 15 cd 5b 07\n"
              "0010  07 21 01 04 80 00 00 00 00 00 00 00 00 00 00 00\n"
              "0020  00 00 00 00 00 00 01 01 01 01 01 01 01 01 01 01\n"
              "0030  01 01 01 01 01 01 02 3a 80 18 71 38 2d 40 58 2c\n"
              "0040  45 00 00 00 00 00 00 1e 00 00 00 ff 00 53 4e 2d\n"
              "0050  30 30 34 32 0a 20 20 20 20 20 00 00 00 fc 00 57\n"
              "0060  61 6c 6c 20 44 69 73 70 6c 61 79 0a 00 00 00 10\n"
              "0070  00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 40\n");
}

TEST(EdidText, is_the_bytes_alone_when_they_are_no_edid) {
    EXPECT_EQ(Edid_text("00FF00"), "not an EDID, 3 bytes\n\n0000  00 ff 00\n");
    EXPECT_EQ(Edid_text(""), "no EDID\n");
    EXPECT_EQ(Edid_text("x\x1b"), "not hexadecimal: x?\n");
}

}  // namespace avoip::ctl
