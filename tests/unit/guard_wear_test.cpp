// How worn a daemon is.
#include <gtest/gtest.h>

#include "avoipguard/concludes/wear.hpp"

namespace avoip::guard {
namespace {

constexpr Use kFresh{6, 0, 60, 100, 40, 10};

Bounds bounds() {
    Bounds made;
    made.descriptors = 106;
    made.mappings = 1060;
    made.size_bytes = 1100;
    made.private_bytes = 1040;
    made.free_bytes = 1000;
    return made;
}

void expectWear(const Use& now, const char* what, int percent) {
    const Wear wear = Wear_worst(kFresh, now, bounds());
    EXPECT_EQ(wear.percent, percent);
    if (percent > 0) {
        EXPECT_EQ(wear.what, what);
    }
}

TEST(GuardWear, is_none_in_a_fresh_daemon) {
    expectWear(kFresh, "", 0);
    expectWear(Use{}, "", 0);
}

TEST(GuardWear, is_that_of_which_the_largest_share_is_used_up) {
    Use now = kFresh;
    now.descriptors = 6 + 59;
    expectWear(now, "descriptors", 59);
    now.mappings = 60 + 600;
    expectWear(now, "mappings", 60);
    now.size_bytes = 100 + 610;
    expectWear(now, "addresses", 61);
    now.private_bytes = 40 + 620;
    expectWear(now, "addresses", 62);
    // Two thirds of the memory that there was beside the fresh daemon: 1,000 are left.
    now.resident_bytes = 10 + 2000;
    expectWear(now, "memory", 66);
}

TEST(GuardWear, of_descriptors_counts_neither_connections_that_stand_nor_the_room_they_take) {
    Use now = kFresh;
    now.connections = 90;
    expectWear(now, "descriptors", 0);
    now.descriptors = 6 + 5;
    expectWear(now, "descriptors", 50);
    now.descriptors = 6 + 10;
    expectWear(now, "descriptors", 100);
}

TEST(GuardWear, of_what_has_no_bound_is_none) {
    Use now = kFresh;
    now.descriptors = now.mappings = now.size_bytes = now.private_bytes = now.resident_bytes =
        std::size_t{1} << 20U;
    EXPECT_EQ(Wear_worst(kFresh, now, Bounds{}).percent, 0);
}

TEST(GuardWear, beyond_a_bound_is_whole) {
    Use now = kFresh;
    now.mappings = 5000;
    expectWear(now, "mappings", 100);
}

}  // namespace
}  // namespace avoip::guard
