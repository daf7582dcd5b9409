// What is wrong, from what was seen.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>

#include "avoipguard/concludes/fault.hpp"
#include "guard_seen.hpp"

namespace avoip::guard {
namespace {

struct Case {
    std::function<void(Seen&)> change;
    std::string reason;
    Cure cure = Cure::kRestart;
    bool sparesUploads = true;
};

/// From the most fundamental one on: each hides those behind it.
const std::array kFaults{
    Case{[](Seen& seen) { seen.daemon.stopped_ms = 1000; },
         "avoipd is stopped, by a signal or a debugger.", Cure::kRestart, false},
    Case{[](Seen& seen) { seen.daemon.unread_ms = 1000; },
         "avoipd stands still: its console has not read a byte for a second.", Cure::kRestart,
         false},
    Case{[](Seen& seen) { seen.daemon.unconnected_ms = 1000; },
         "avoipd takes no connection to its console."},
    Case{[](Seen& seen) { seen.daemon.hasListener = false; },
         "avoipd takes no new connections: its listener has ended."},
    Case{[](Seen& seen) { seen.daemon.segment = SegmentPlace::kGone; },
         "The answer segment (key 0x12345678) is gone."},
    Case{[](Seen& seen) { seen.daemon.segment = SegmentPlace::kOther; },
         "The answer segment (key 0x12345678) is not the one that avoipd answers in any more."},
    Case{[](Seen& seen) { seen.daemon.unanswered_ms = 2000; },
         "avoipd does not answer: a question has had no answer for two seconds.", Cure::kRestart,
         false},
    Case{[](Seen& seen) { seen.daemon.hasReplySocket = false; },
         "avoipd has no socket on UDP port 8003: it could not be opened, or a request could not be "
         "sent."},
    Case{[](Seen& seen) { seen.daemon.identity = ""; },
         "avoipd has no identity: it could not read the MAC address of eth0.2."},
    Case{[](Seen& seen) { seen.daemon.identity = "001122aabbdd"; },
         "avoipd calls itself 001122aabbdd, but the MAC address of eth0.2 is 001122aabbcc."},
    Case{[](Seen& seen) { seen.control = {}; }, "There is no control interface eth0.2.",
         Cure::kOutside},
    Case{[](Seen& seen) { seen.control.isUp = false; },
         "The control interface eth0.2 is down: ip link set eth0.2 up", Cure::kOutside},
    Case{[](Seen& seen) { seen.control.mac = ""; },
         "The control interface eth0.2 has no MAC address.", Cure::kOutside},
    Case{[](Seen& seen) { seen.control.hasAddress = false; },
         "The control interface eth0.2 has no IPv4 address: ip address add ADDRESS/LENGTH dev "
         "eth0.2",
         Cure::kOutside},
    Case{
        [](Seen& seen) { seen.control.hasRoute = false; },
        "No route leads to the devices' group 239.255.255.250: ip route add 224.0.0.0/4 dev eth0.2",
        Cure::kOutside},
    Case{[](Seen& seen) { seen.daemon.replyPortSharer = "process 7 (nc)"; },
         "UDP port 8003 is shared with process 7 (nc), which takes replies of the devices: end it.",
         Cure::kOutside},
};

TEST(GuardFault, is_none_when_everything_is_in_order) {
    EXPECT_FALSE(Fault_find(seenWorking()).has_value());
    // What has not lasted yet is none.
    Seen seen = seenWorking();
    seen.daemon.stopped_ms = seen.daemon.unread_ms = seen.daemon.unconnected_ms = 999;
    seen.daemon.unanswered_ms = 1999;
    EXPECT_FALSE(Fault_find(seen).has_value());
}

TEST(GuardFault, has_its_reason_and_its_cure) {
    for (const Case& one : kFaults) {
        Seen seen = seenWorking();
        one.change(seen);
        const auto fault = Fault_find(seen);
        ASSERT_TRUE(fault.has_value()) << one.reason;
        EXPECT_EQ(fault->reason, one.reason);
        EXPECT_EQ(fault->cure, one.cure) << one.reason;
        EXPECT_EQ(fault->sparesUploads, one.sparesUploads) << one.reason;
    }
}

TEST(GuardFault, that_a_restart_mends_is_named_before_what_is_missing_outside) {
    for (const Case& inside : kFaults) {
        for (const Case& outside : kFaults) {
            Seen seen = seenWorking();
            inside.change(seen);
            outside.change(seen);
            if (inside.cure == Cure::kRestart && outside.cure == Cure::kOutside &&
                !seen.control.mac.empty()) {
                EXPECT_EQ(Fault_find(seen)->cure, Cure::kRestart)
                    << inside.reason << " and " << outside.reason;
            }
        }
    }
}

TEST(GuardFault, is_not_seen_in_an_identity_while_the_interface_has_no_mac_address) {
    Seen seen = seenWorking();
    seen.control = {};
    seen.daemon.identity = "001122aabbdd";
    EXPECT_EQ(Fault_find(seen)->reason, "There is no control interface eth0.2.");
}

TEST(GuardObstacle, is_the_control_interface_first) {
    for (const Case& one : kFaults) {
        Seen seen = seenWorking();
        seen.daemon = {};
        one.change(seen);
        seen.holders = {"a", "b", "c"};
        const auto obstacle = Fault_obstacle(seen);
        ASSERT_TRUE(obstacle.has_value());
        const bool isControl =
            one.reason.find("eth0.2") != std::string::npos && one.cure == Cure::kOutside;
        EXPECT_EQ(obstacle->isControl, isControl) << one.reason;
        EXPECT_EQ(obstacle->reason, isControl ? one.reason : "TCP port 6888 is held by a: end it.");
    }
}

TEST(GuardObstacle, is_whoever_holds_what_the_daemon_needs) {
    Seen seen = seenWorking();
    EXPECT_FALSE(Fault_obstacle(seen).has_value());
    seen.holders.segment = "user 7";
    EXPECT_EQ(Fault_obstacle(seen)->reason,
              "The answer segment (key 0x12345678) belongs to user 7: ipcrm -M 0x12345678, as that "
              "user or root.");
    seen.holders.replyPort = "process 7 (nc)";
    EXPECT_EQ(Fault_obstacle(seen)->reason, "UDP port 8003 is held by process 7 (nc): end it.");
}

}  // namespace
}  // namespace avoip::guard
