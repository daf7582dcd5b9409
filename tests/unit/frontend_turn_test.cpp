// The turns of front ends: which file they lock, what it must be, and how long they wait for it.
#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "bed/segment.hpp"
#include "bed/stand_in.hpp"
#include "frontend_bed.hpp"
#include "gtest/gtest.h"
#include "lib/base/descriptor.hpp"
#include "lib/frontend/avoip_frontend.h"

namespace {

namespace fs = std::filesystem;

constexpr gid_t kGroup = 4711;

class FrontEndTurn : public FrontEnd {
  protected:
    static struct stat factsOf(const std::string& path) {
        struct stat facts {};
        EXPECT_EQ(::stat(path.c_str(), &facts), 0) << path;
        return facts;
    }

    /// Gives the answer segment to a group.
    static void giveSegmentTo(gid_t group) {
        const int id = ::shmget(bed::kSegmentKey, 0, 0);
        shmid_ds facts{};
        ASSERT_EQ(::shmctl(id, IPC_STAT, &facts), 0);
        facts.shm_perm.gid = group;
        ASSERT_EQ(::shmctl(id, IPC_SET, &facts), 0);
    }

    void expectRefusal(const std::string& problem) const {
        Asker asker;
        EXPECT_EQ(asker.ask("a!"), AVOIP_NO_LOCK);
        EXPECT_EQ(asker.error(), "The lock file " + lockFile + " cannot be used (" + problem +
                                     "). Correct AVOIP_LOCK_FILE.");
        EXPECT_EQ(daemon.connectionCount(), 0U);
    }

    /// The name of the file where no variable gives another.
    static std::string usualName() {
        return "avoip-frontend-" + std::to_string(factsOf("/proc/self/ns/ipc").st_ino) + ".lock";
    }

    bed::StandIn daemon{always("x")};
};

}  // namespace

TEST_F(FrontEndTurn, waits_for_its_turn_within_its_time_out) {
    const avoip::Descriptor other(::open(lockFile.c_str(), O_RDONLY | O_CREAT, 0644));
    ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
    Asker asker;
    EXPECT_EQ(asker.ask("a!", 100), AVOIP_NO_TURN);
    EXPECT_EQ(asker.error(),
              "Another front end has had its turn for the whole time-out. Try again, or give a "
              "longer time-out.");
    EXPECT_EQ(daemon.connectionCount(), 0U);
    ASSERT_EQ(::flock(other.get(), LOCK_UN), 0);
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
}

TEST_F(FrontEndTurn, makes_a_lock_file_for_the_segments_group_and_nobody_else) {
    giveSegmentTo(kGroup);
    const mode_t before = ::umask(077);
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
    ::umask(before);
    EXPECT_EQ(factsOf(lockFile).st_mode & 07777, 0660U);
    EXPECT_EQ(factsOf(lockFile).st_gid, kGroup);
}

TEST_F(FrontEndTurn, gives_a_lock_file_that_stands_already_its_mode_and_its_group) {
    giveSegmentTo(kGroup);
    std::ofstream(lockFile).flush();
    fs::permissions(lockFile, fs::perms(0644));
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
    EXPECT_EQ(factsOf(lockFile).st_mode & 07777, 0660U);
    EXPECT_EQ(factsOf(lockFile).st_gid, kGroup);
}

TEST_F(FrontEndTurn, makes_no_lock_file_before_there_is_a_segment_whose_group_it_could_have) {
    bed::Segment::remove();
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_NO_SEGMENT);
    EXPECT_FALSE(fs::exists(lockFile));
}

TEST_F(FrontEndTurn, locks_a_file_that_belongs_to_the_ipc_namespace) {
    if (fs::is_directory("/run/avoip")) {
        GTEST_SKIP() << "/run/avoip is used on this machine";
    }
    ::unsetenv("AVOIP_LOCK_FILE");
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
    EXPECT_TRUE(fs::remove("/run/lock/" + usualName()) || fs::remove("/tmp/" + usualName()));
}

TEST_F(FrontEndTurn, locks_in_run_avoip_where_that_folder_exists) {
    // A /run of the test's own.
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("run", "/run", "tmpfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "needs a mount namespace of its own, which only root gets";
    }
    fs::create_directory("/run/lock");
    fs::create_directory("/run/avoip");
    ::unsetenv("AVOIP_LOCK_FILE");
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
    EXPECT_TRUE(fs::exists("/run/avoip/" + usualName()));
    EXPECT_TRUE(fs::is_empty("/run/lock"));

    // Who may not use it may not take turns: another place would have other front ends.
    fs::remove("/run/avoip/" + usualName());
    fs::create_directory("/run/avoip/" + usualName());
    EXPECT_EQ(asker.ask("a!"), AVOIP_NO_LOCK);
    EXPECT_TRUE(fs::is_empty("/run/lock"));
}

TEST_F(FrontEndTurn, is_not_had_by_a_file_whose_folder_is_missing) {
    const std::string path = folder + "/missing/lock";
    ::setenv("AVOIP_LOCK_FILE", path.c_str(), 1);
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_NO_LOCK);
    EXPECT_EQ(asker.error(), "The lock file " + path +
                                 " cannot be used (No such file or directory). Correct "
                                 "AVOIP_LOCK_FILE.");
}

TEST_F(FrontEndTurn, is_not_had_through_a_link) {
    fs::create_symlink(folder + "/other", lockFile);
    expectRefusal("Too many levels of symbolic links");
    EXPECT_FALSE(fs::exists(folder + "/other"));
}

TEST_F(FrontEndTurn, is_not_had_by_another_name_of_a_file) {
    std::ofstream(folder + "/other").flush();
    fs::create_hard_link(folder + "/other", lockFile);
    expectRefusal("it has more than one name");
}

TEST_F(FrontEndTurn, is_not_had_by_what_is_no_regular_file_and_does_not_wait_for_it) {
    ASSERT_EQ(::mkfifo(lockFile.c_str(), 0660), 0);
    expectRefusal("it is no regular file");
}

TEST_F(FrontEndTurn, is_not_had_by_a_strangers_file) {
    std::ofstream(lockFile).flush();
    if (::chown(lockFile.c_str(), 4712, 4712) != 0) {
        GTEST_SKIP() << "needs to give a file away, which only root can";
    }
    giveSegmentTo(kGroup);
    expectRefusal("it belongs to somebody else");
    ASSERT_EQ(::chown(lockFile.c_str(), 4712, kGroup), 0);
    Asker asker;
    EXPECT_EQ(asker.ask("a!"), AVOIP_OK) << asker.error();
}

TEST_F(FrontEndTurn, is_not_had_by_a_file_with_something_else_in_it_which_stays_as_it_is) {
    std::ofstream(lockFile) << "a letter\n";
    fs::permissions(lockFile, fs::perms(0644));
    expectRefusal("it holds something else");
    std::ifstream file(lockFile);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "a letter\n");
    EXPECT_EQ(factsOf(lockFile).st_mode & 07777, 0644U);
}

TEST_F(FrontEndTurn, is_had_by_the_file_that_stands_there_now_and_not_by_one_that_was_removed) {
    avoip::Descriptor other(::open(lockFile.c_str(), O_RDONLY | O_CREAT, 0660));
    ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
    Asker asker;
    avoip_result result = AVOIP_TIME_OUT;
    std::jthread asking([&] { result = asker.ask("a!"); });
    // Waits until it has the file open, which is then taken from under it.
    bed::awaitCondition("the lock file to be open twice", [&] {
        int count = 0;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            count += fs::read_symlink(entry, error) == lockFile ? 1 : 0;
        }
        return count == 2;
    });
    fs::remove(lockFile);
    other.reset();
    asking.join();
    EXPECT_EQ(result, AVOIP_OK) << asker.error();
    EXPECT_TRUE(fs::exists(lockFile));
}
