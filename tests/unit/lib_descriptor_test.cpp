// The descriptor that closes itself: one owner at a time, closed once.
#include "lib/base/descriptor.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <utility>

#include "descriptors.hpp"

namespace avoip {
namespace {

Descriptor anyDescriptor() {
    return Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

TEST(LibDescriptor, without_a_number_there_is_none) {
    EXPECT_FALSE(Descriptor().isOpen());
    EXPECT_LT(Descriptor().get(), 0);
    EXPECT_FALSE(Descriptor(-1).isOpen());
    EXPECT_TRUE(Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)).isOpen());
}

TEST(LibDescriptor, is_closed_with_its_owner) {
    int number = -1;
    {
        const Descriptor descriptor = anyDescriptor();
        number = descriptor.get();
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(LibDescriptor, can_be_closed_before_and_is_closed_once) {
    Descriptor descriptor = anyDescriptor();
    const int number = descriptor.get();
    descriptor.reset();
    EXPECT_FALSE(isOpen(number));
    EXPECT_FALSE(descriptor.isOpen());
    const Descriptor other = anyDescriptor();
    ASSERT_EQ(other.get(), number);
    descriptor.reset();
    EXPECT_TRUE(isOpen(number));
}

TEST(LibDescriptor, moves_to_another_owner) {
    Descriptor first = anyDescriptor();
    const int number = first.get();
    Descriptor second(std::move(first));
    EXPECT_EQ(second.get(), number);
    Descriptor third;
    third = std::move(second);
    EXPECT_EQ(third.get(), number);
    EXPECT_TRUE(isOpen(number));
}

TEST(LibDescriptor, gives_up_the_one_it_had_when_it_is_given_another) {
    Descriptor descriptor = anyDescriptor();
    const int number = descriptor.get();
    descriptor = anyDescriptor();
    EXPECT_NE(descriptor.get(), number);
    EXPECT_FALSE(isOpen(number));
    EXPECT_TRUE(isOpen(descriptor.get()));
}

}  // namespace
}  // namespace avoip
