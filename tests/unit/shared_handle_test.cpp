// A handle that threads use while one retires it: released once, and never under a use.
#include "base/shared_handle.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <latch>
#include <memory>
#include <optional>
#include <thread>

namespace {

// How often each handle has been released.
std::array<std::atomic<int>, 20'000> released;

void release(int handle) {
    ++released.at(static_cast<std::size_t>(handle));
}

int timesReleased(int handle) {
    return released.at(static_cast<std::size_t>(handle));
}

using Handle = SharedHandle<int, -1, release>;
using Use = Handle::Use;

class SharedHandleTest : public testing::Test {
  protected:
    SharedHandleTest() {
        for (auto& count : released) {
            count = 0;
        }
    }
    Handle handle;
};

TEST_F(SharedHandleTest, is_none_until_it_is_set) {
    EXPECT_EQ(Use(handle).get(), -1);
    EXPECT_EQ(handle.peek(), -1);
    handle.retire();
    EXPECT_EQ(Use(handle).get(), -1);
}

TEST_F(SharedHandleTest, is_used_again_and_again_without_being_released) {
    handle.set(7);
    EXPECT_EQ(Use(handle).get(), 7);
    EXPECT_EQ(Use(handle).get(), 7);
    EXPECT_EQ(handle.peek(), 7);
    EXPECT_EQ(timesReleased(7), 0);
}

TEST_F(SharedHandleTest, is_released_at_once_when_nobody_uses_it) {
    handle.set(7);
    handle.retire();
    EXPECT_EQ(timesReleased(7), 1);
    EXPECT_EQ(Use(handle).get(), -1);
    EXPECT_EQ(handle.peek(), -1);
    handle.retire();
    EXPECT_EQ(timesReleased(7), 1);
}

TEST_F(SharedHandleTest, is_released_when_its_last_use_ends) {
    handle.set(7);
    std::optional<Use> first(handle);
    std::optional<Use> second(handle);
    handle.retire();
    EXPECT_EQ(first->get(), 7);
    first.reset();
    EXPECT_EQ(timesReleased(7), 0);
    EXPECT_EQ(second->get(), 7);
    second.reset();
    EXPECT_EQ(timesReleased(7), 1);
}

TEST_F(SharedHandleTest, is_gone_for_new_uses_while_an_old_one_still_has_it) {
    handle.set(7);
    std::optional<Use> old(handle);
    handle.retire();
    EXPECT_EQ(Use(handle).get(), -1);
    EXPECT_EQ(handle.peek(), -1);
    EXPECT_EQ(timesReleased(7), 0);
    old.reset();
    EXPECT_EQ(timesReleased(7), 1);
}

TEST_F(SharedHandleTest, can_be_retired_by_the_one_who_uses_it) {
    handle.set(7);
    {
        const Use use(handle);
        handle.retire();
        EXPECT_EQ(use.get(), 7);
        EXPECT_EQ(timesReleased(7), 0);
    }
    EXPECT_EQ(timesReleased(7), 1);
}

TEST_F(SharedHandleTest, can_be_set_anew) {
    handle.set(7);
    handle.retire();
    handle.set(8);
    EXPECT_EQ(Use(handle).get(), 8);
    EXPECT_EQ(timesReleased(8), 0);
    handle.retire();
    EXPECT_EQ(timesReleased(7), 1);
    EXPECT_EQ(timesReleased(8), 1);
}

TEST_F(SharedHandleTest, is_never_released_under_a_use_of_another_thread) {
    constexpr int kUsers = 3;
    std::latch started(kUsers);
    std::atomic<bool> stop = false;
    std::atomic<int> usedAfterRelease = 0;
    std::array<std::jthread, kUsers> users;
    for (auto& user : users) {
        user = std::jthread([&] {
            started.count_down();
            while (!stop) {
                const Use use(handle);
                if (use.get() != -1 && timesReleased(use.get()) != 0) {
                    ++usedAfterRelease;
                }
            }
        });
    }
    started.wait();
    for (int each = 0; each < static_cast<int>(released.size()); ++each) {
        handle.set(each);
        handle.retire();
        while (timesReleased(each) == 0) {
            std::this_thread::yield();
        }
    }
    stop = true;
    std::ranges::for_each(users, &std::jthread::join);
    EXPECT_EQ(usedAfterRelease, 0);
    for (const auto& count : released) {
        ASSERT_EQ(count, 1);
    }
}

}  // namespace
