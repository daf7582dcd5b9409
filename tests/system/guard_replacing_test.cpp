// When avoipguard replaces a worn daemon, and what it does where it has few rights.
#include <sys/shm.h>
#include <sys/socket.h>

#include "bed/occupant.hpp"
#include "lib/frontend/turn.hpp"
#include "system/guard_bed.hpp"

namespace {

class GuardReplaces : public GuardedInLittleSpace {
  protected:
    /// Two changes that the guard sees and tells of: it has looked and acted between them.
    void awaitLooks() {
        for (int i = 0; i < 3; ++i) {
            namespaces.removeMulticastRoute();
            awaitState("useless");
            namespaces.addMulticastRoute();
            awaitState("ok");
        }
    }
};

/// A guard without any right, in a folder of its own.
class GuardOfAnUser : public Guarded {
  protected:
    GuardOfAnUser() {
        EXPECT_EQ(::chown(folder.c_str(), kUser, kUser), 0);
        const bed::DaemonOptions guardOptions = options();
        made.program = "/usr/bin/setpriv";
        made.arguments = {"--reuid",        std::to_string(kUser), "--regid", std::to_string(kUser),
                          "--clear-groups", guardOptions.program};
        made.arguments.insert(made.arguments.end(), guardOptions.arguments.begin(),
                              guardOptions.arguments.end());
    }

    static constexpr uid_t kUser = 65534;
    bed::DaemonOptions made;
};

}  // namespace

TEST_F(GuardReplaces, a_daemon_that_is_60_percent_worn_when_no_connection_stands) {
    {
        const bed::Console console;
        wear(0.66);
        awaitLooks();
        EXPECT_EQ(health().restarts, 0);
    }
    awaitRestart(0);
    awaitLine(" % of its addresses: it is replaced by a new one.");
    expectWorks();
}

TEST_F(GuardReplaces, a_daemon_that_is_85_percent_worn_in_its_turn) {
    bed::Console console;
    {
        avoip::Turn turn;
        avoip::Reason reason;
        ASSERT_EQ(turn.take(avoip::Deadline_in(20000), reason), AVOIP_OK) << reason.text;
        wear(0.87);
        awaitLooks();
        EXPECT_EQ(health().restarts, 0);
    }
    awaitRestart(0);
    console.awaitClosed();
    awaitLine(" % of its addresses: it is replaced by a new one.");
    expectWorks();
}

TEST_F(GuardReplaces, a_daemon_that_is_95_percent_worn_at_once) {
    const bed::Console console;
    avoip::Turn turn;
    avoip::Reason reason;
    ASSERT_EQ(turn.take(avoip::Deadline_in(20000), reason), AVOIP_OK) << reason.text;
    wear(0.955);
    awaitRestart(0);
    guard->awaitError("avoipguard: useless: avoipd has used up 9");
}

TEST_F(GuardOfAnUser, keeps_the_daemon_working_and_removes_its_segment) {
    start(made);
    EXPECT_EQ(bed::Segment().status().shm_perm.uid, kUser);
    expectWorks();
    ::kill(health().daemonPid, SIGKILL);
    awaitRestart(0);
    expectWorks();
    EXPECT_EQ(guard->stop(SIGTERM), (bed::Exit{false, 0}));
    EXPECT_FALSE(bed::Segment::exists());
}

TEST_F(GuardOfAnUser, names_the_owner_of_a_segment_that_it_cannot_remove) {
    bed::Segment::create(std::size_t{8} << 20U);
    const std::string reason =
        "The answer segment (key 0x12345678) belongs to user 0: ipcrm -M 0x12345678, as that user "
        "or root.";
    guard = std::make_unique<bed::Daemon>(made);
    awaitLine("avoipguard: useless: " + reason);
    bed::Segment::remove();
    awaitState("ok");
    expectWorks();

    bed::Segment::remove();
    bed::Segment::create(32);
    awaitReason(reason);
    EXPECT_EQ(health().daemonPid, 0);
    bed::Segment::remove();
    awaitRestart(0);
    expectWorks();
}

TEST_F(GuardOfAnUser, knows_only_the_user_of_a_process_that_it_cannot_look_into) {
    const bed::Occupant occupant(SOCK_STREAM, 6888);
    guard = std::make_unique<bed::Daemon>(made);
    awaitReason("TCP port 6888 is held by a process of user root: end it.");
}
