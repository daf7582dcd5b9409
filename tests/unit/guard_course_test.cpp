// The course of a daemon's life: from what was seen and when, to what is shown and done.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "avoipguard/concludes/course.hpp"
#include "guard_seen.hpp"

namespace avoip::guard {
namespace {

Seen noDaemon(const std::string& end = "It has ended.") {
    Seen seen = seenWorking();
    seen.runs = false;
    seen.end = end;
    seen.daemon = {};
    return seen;
}

Seen withoutConsole() {
    Seen seen = seenWorking();
    seen.daemon = {};
    return seen;
}

Seen changed(const std::function<void(Seen&)>& change) {
    Seen seen = seenWorking();
    change(seen);
    return seen;
}

Seen worn(int percent) {
    return changed([&](Seen& seen) { seen.daemon.wear = {"mappings", percent}; });
}

Seen withoutSegment() {
    return changed([](Seen& seen) { seen.daemon.segment = SegmentPlace::kGone; });
}

/// One look: when it comes, what is seen, and what must come of it.
struct Look {
    std::int64_t at_ms;
    Seen seen;
    HealthState state;
    std::string reason;
    Action action = Action::kNone;
};

void expectCourse(const std::vector<Look>& looks) {
    Course course;
    for (const Look& look : looks) {
        const Step step = Course_next(course, look.seen, look.at_ms);
        EXPECT_EQ(step.state, look.state) << look.at_ms;
        EXPECT_EQ(step.reason, look.reason) << look.at_ms;
        EXPECT_EQ(step.action, look.action) << look.at_ms;
    }
}

constexpr const char* kGone = "The answer segment (key 0x12345678) is gone.";
constexpr const char* kNoAddress =
    "The control interface eth0.2 has no IPv4 address: ip address add ADDRESS/LENGTH dev eth0.2";

const Seen kUnaddressed = changed([](Seen& seen) { seen.control.hasAddress = false; });

TEST(GuardCourse, starts_and_is_ok_when_the_daemon_is_proven) {
    const Seen unproven = changed([](Seen& seen) { seen.daemon.isProven = false; });
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {2, withoutConsole(), HealthState::kStarting, ""},
        {4, unproven, HealthState::kStarting, ""},
        {6, seenWorking(), HealthState::kOk, ""},
        {256, seenWorking(), HealthState::kOk, ""},
    });
}

TEST(GuardCourse, waits_for_the_control_interface_and_starts_as_soon_as_it_is_there) {
    Seen unaddressed = noDaemon("");
    unaddressed.control.hasAddress = false;
    expectCourse({
        {0, unaddressed, HealthState::kWaiting, kNoAddress},
        {100000, unaddressed, HealthState::kWaiting, kNoAddress},
        {100001, noDaemon(""), HealthState::kStarting, "", Action::kStart},
    });
}

TEST(GuardCourse, does_not_start_what_could_not_work_for_somebody_else) {
    Seen held = noDaemon("");
    held.holders.consolePort = "process 7 (nc)";
    expectCourse({
        {0, held, HealthState::kUseless, "TCP port 6888 is held by process 7 (nc): end it."},
        {250, noDaemon(""), HealthState::kStarting, "", Action::kStart},
    });
}

TEST(GuardCourse, waits_without_a_word_while_a_killed_daemon_holds_what_the_next_one_needs) {
    Seen held = noDaemon("");
    held.holders.consolePort = "another process";
    held.lingers = true;
    Seen heldOn = held;
    heldOn.lingers = false;
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, seenWorking(), HealthState::kOk, ""},
        {5000, withoutSegment(), HealthState::kUseless, kGone, Action::kEnd},
        {5000, held, HealthState::kUseless, kGone},
        {5030, heldOn, HealthState::kUseless, "TCP port 6888 is held by another process: end it."},
        {5280, noDaemon(""), HealthState::kUseless, kGone, Action::kStart},
    });
}

TEST(GuardCourse, ends_and_starts_for_a_fault_that_a_restart_mends_without_a_pause) {
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, seenWorking(), HealthState::kOk, ""},
        {5000, withoutSegment(), HealthState::kUseless, kGone, Action::kEnd},
        {5000, noDaemon(), HealthState::kUseless, kGone, Action::kStart},
        {5010, seenWorking(), HealthState::kOk, ""},
        // One that is met at once again, too, for once.
        {5020, withoutSegment(), HealthState::kUseless, kGone, Action::kEnd},
        {5020, noDaemon(), HealthState::kUseless, kGone},
        {5269, noDaemon(), HealthState::kUseless, kGone},
        {5270, noDaemon(), HealthState::kUseless, kGone, Action::kStart},
    });
}

TEST(GuardCourse, says_how_a_daemon_ended_by_itself) {
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, seenWorking(), HealthState::kOk, ""},
        {5000, noDaemon("By signal 9."), HealthState::kUseless, "By signal 9.", Action::kStart},
        {5010, seenWorking(), HealthState::kOk, ""},
    });
}

TEST(GuardCourse, makes_pauses_that_grow_to_a_minute_while_starts_do_not_help) {
    Course course;
    std::int64_t now_ms = 0;
    ASSERT_EQ(Course_next(course, noDaemon(), now_ms).action, Action::kStart);
    std::vector<std::int64_t> pauses_ms;
    for (int i = 0; i < 12; ++i) {
        const std::int64_t lost_ms = now_ms;
        while (Course_next(course, noDaemon(), now_ms).action != Action::kStart) {
            now_ms += 10;
        }
        pauses_ms.push_back(now_ms - lost_ms);
    }
    EXPECT_EQ(pauses_ms, (std::vector<std::int64_t>{0, 250, 500, 1000, 2000, 4000, 8000, 16000,
                                                    32000, 60000, 60000, 60000}));
    // One that serves for two seconds was worth its start.
    ASSERT_EQ(Course_next(course, seenWorking(), now_ms).state, HealthState::kOk);
    now_ms += 2000;
    EXPECT_EQ(Course_next(course, noDaemon(), now_ms).action, Action::kStart);
}

TEST(GuardCourse, pauses_behind_a_daemon_that_served_for_less_than_two_seconds) {
    Course course;
    ASSERT_EQ(Course_next(course, noDaemon(), 0).action, Action::kStart);
    ASSERT_EQ(Course_next(course, seenWorking(), 0).state, HealthState::kOk);
    ASSERT_EQ(Course_next(course, noDaemon(), 1999).action, Action::kStart);
    ASSERT_EQ(Course_next(course, seenWorking(), 1999).state, HealthState::kOk);
    EXPECT_EQ(Course_next(course, noDaemon(), 3998).action, Action::kNone);
    EXPECT_EQ(Course_next(course, noDaemon(), 3998 + 250).action, Action::kStart);
}

TEST(GuardCourse, gives_a_daemon_without_a_console_up_after_five_seconds) {
    const std::string reason = "avoipd does not open its console on TCP port 6888.";
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {4999, withoutConsole(), HealthState::kStarting, ""},
        {5000, withoutConsole(), HealthState::kUseless, reason, Action::kEnd},
    });
}

TEST(GuardCourse, ends_a_daemon_that_starts_with_a_fault) {
    Seen faulty = withoutSegment();
    faulty.daemon.isProven = false;
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, faulty, HealthState::kUseless, kGone, Action::kEnd},
    });
}

TEST(GuardCourse, leaves_a_daemon_alone_that_only_lacks_something_outside) {
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, kUnaddressed, HealthState::kUseless, kNoAddress},
        {90000, kUnaddressed, HealthState::kUseless, kNoAddress},
        {90250, seenWorking(), HealthState::kOk, ""},
    });
}

TEST(GuardCourse, lets_an_upload_end_before_it_ends_the_daemon_but_not_for_ever) {
    Seen uploading = withoutSegment();
    uploading.daemon.uploads = true;
    const std::string spared =
        std::string(kGone) + " It is restarted when the firmware upload has ended.";
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, seenWorking(), HealthState::kOk, ""},
        {5000, uploading, HealthState::kUseless, spared},
        {9000, uploading, HealthState::kUseless, spared},
        {9250, withoutSegment(), HealthState::kUseless, kGone, Action::kEnd},
    });
    expectCourse({
        {0, noDaemon(""), HealthState::kStarting, "", Action::kStart},
        {10, seenWorking(), HealthState::kOk, ""},
        {5000, uploading, HealthState::kUseless, spared},
        {604999, uploading, HealthState::kUseless, spared},
        {605000, uploading, HealthState::kUseless, kGone, Action::kEnd},
    });
}

TEST(GuardCourse, does_not_wait_for_the_upload_of_a_daemon_that_stands_still) {
    const Seen still = changed([](Seen& seen) {
        seen.daemon.unread_ms = 1000;
        seen.daemon.uploads = true;
    });
    Course course;
    Course_next(course, noDaemon(), 0);
    Course_next(course, seenWorking(), 10);
    EXPECT_EQ(Course_next(course, still, 5000).action, Action::kEnd);
}

TEST(GuardCourse, replaces_a_worn_daemon_in_a_quiet_moment_then_in_turn_then_at_once) {
    const auto actionAt = [](int percent, bool uploads = false) {
        Course course;
        Course_next(course, noDaemon(), 0);
        Course_next(course, seenWorking(), 10);
        Seen seen = worn(percent);
        seen.daemon.uploads = uploads;
        return Course_next(course, seen, 5000).action;
    };
    EXPECT_EQ(actionAt(59), Action::kNone);
    EXPECT_EQ(actionAt(60), Action::kReplaceQuietly);
    EXPECT_EQ(actionAt(84), Action::kReplaceQuietly);
    EXPECT_EQ(actionAt(85), Action::kReplaceInTurn);
    EXPECT_EQ(actionAt(94), Action::kReplaceInTurn);
    EXPECT_EQ(actionAt(95), Action::kEnd);
    EXPECT_EQ(actionAt(60, true), Action::kNone);
    EXPECT_EQ(actionAt(85, true), Action::kNone);
    EXPECT_EQ(actionAt(95, true), Action::kNone);
}

TEST(GuardCourse, counts_a_replacement_as_no_failure) {
    Course course;
    Course_next(course, noDaemon(), 0);
    Course_next(course, seenWorking(), 10);
    for (int i = 1; i < 10; ++i) {
        const std::int64_t now_ms = std::int64_t{i} * 100;
        Course_replaced(course, {"mappings", 61}, now_ms);
        const Step step = Course_next(course, noDaemon(""), now_ms);
        EXPECT_EQ(step.action, Action::kStart);
        EXPECT_EQ(step.state, HealthState::kStarting);
        EXPECT_EQ(step.reason,
                  "avoipd has used up 61 % of its mappings: it is replaced by a new one.");
        EXPECT_EQ(Course_next(course, seenWorking(), now_ms).reason, "");
    }
}

TEST(GuardCourse, warns_of_a_route_that_leads_elsewhere) {
    const Seen elsewhere = changed([](Seen& seen) { seen.control.routeFits = false; });
    Course course;
    Course_next(course, noDaemon(), 0);
    const Step step = Course_next(course, elsewhere, 10);
    EXPECT_EQ(step.state, HealthState::kOk);
    EXPECT_EQ(step.reason,
              "The route to the devices' group 239.255.255.250 does not lead out of eth0.2: ip "
              "route add 224.0.0.0/4 dev eth0.2");
}

}  // namespace
}  // namespace avoip::guard
