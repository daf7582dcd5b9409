// The screens of the fleet.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "avoipsim/make_edid.hpp"

namespace avoip::sim {
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

TEST(AvoipsimEdid, begins_with_the_header) {
    const Edid edid = MakeEdid_screen("Screen", 1);
    const std::vector<std::uint8_t> header{0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
    EXPECT_TRUE(std::equal(header.begin(), header.end(), edid.begin()));
}

TEST(AvoipsimEdid, both_blocks_have_a_right_checksum) {
    for (const std::uint32_t serial : {0U, 1U, 255U, 1024U, 0xFFFFFFFFU}) {
        const Edid edid = MakeEdid_screen("Screen " + std::to_string(serial), serial);
        const std::span<const std::uint8_t> bytes(edid);
        EXPECT_EQ(sum(bytes.first(128)), 0);
        EXPECT_EQ(sum(bytes.last(128)), 0);
    }
}

TEST(AvoipsimEdid, announces_its_one_extension) {
    const Edid edid = MakeEdid_screen("Screen", 1);
    EXPECT_EQ(edid[126], 1);
    EXPECT_EQ(edid[128], 0x02);
}

TEST(AvoipsimEdid, carries_name_and_serial_number) {
    const Edid edid = MakeEdid_screen("Sim RX-0001", 0x01020304);
    EXPECT_EQ(nameOf(edid), "Sim RX-0001");
    EXPECT_EQ(edid[12], 4);
    EXPECT_EQ(edid[15], 1);
    EXPECT_EQ(nameOf(MakeEdid_screen("A name of thirty characters   ", 1)), "A name of thi");
}

}  // namespace

}  // namespace avoip::sim
