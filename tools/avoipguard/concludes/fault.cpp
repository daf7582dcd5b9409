#include "avoipguard/concludes/fault.hpp"

#include <cstdint>

namespace avoip::guard {

namespace {

/// A byte that stands unread for so long shows that nobody is at work.
constexpr std::int64_t kStandstillMs = 1000;
/// A question is answered at once, but it takes its turn behind other connections' commands.
constexpr std::int64_t kUnansweredMs = 2000;

/// What the control interface lacks; empty for nothing.
std::string lackOf(const ControlSeen& control) {
    if (!control.exists) {
        return "There is no control interface eth0.2.";
    }
    if (!control.isUp) {
        return "The control interface eth0.2 is down: ip link set eth0.2 up";
    }
    if (control.mac.empty()) {
        return "The control interface eth0.2 has no MAC address.";
    }
    if (!control.hasAddress) {
        return "The control interface eth0.2 has no IPv4 address: ip address add ADDRESS/LENGTH "
               "dev eth0.2";
    }
    if (!control.hasRoute) {
        return "No route leads to the devices' group 239.255.255.250: ip route add 224.0.0.0/4 dev "
               "eth0.2";
    }
    return {};
}

Fault standstill(std::string reason) {
    return {std::move(reason), Cure::kRestart, false};
}

std::optional<Fault> consoleFault(const DaemonSeen& daemon) {
    if (daemon.stopped_ms >= kStandstillMs) {
        return standstill("avoipd is stopped, by a signal or a debugger.");
    }
    if (daemon.unread_ms >= kStandstillMs) {
        return standstill("avoipd stands still: its console has not read a byte for a second.");
    }
    if (daemon.unconnected_ms >= kStandstillMs) {
        return Fault{"avoipd takes no connection to its console."};
    }
    if (!daemon.hasListener) {
        return Fault{"avoipd takes no new connections: its listener has ended."};
    }
    if (daemon.segment == SegmentPlace::kGone) {
        return Fault{"The answer segment (key 0x12345678) is gone."};
    }
    if (daemon.segment == SegmentPlace::kOther) {
        return Fault{
            "The answer segment (key 0x12345678) is not the one that avoipd answers in any more."};
    }
    if (daemon.unanswered_ms >= kUnansweredMs) {
        return standstill("avoipd does not answer: a question has had no answer for two seconds.");
    }
    return std::nullopt;
}

/// What is wrong with the daemon's way to the devices. An interface that lacks something else hides
/// nothing: a daemon without its socket needs a restart in any case.
std::optional<Fault> deviceFault(const ControlSeen& control, const DaemonSeen& daemon) {
    if (!daemon.hasReplySocket) {
        return Fault{
            "avoipd has no socket on UDP port 8003: it could not be opened, or a request "
            "could not be sent."};
    }
    if (daemon.identity.empty()) {
        return Fault{"avoipd has no identity: it could not read the MAC address of eth0.2."};
    }
    if (!control.mac.empty() && control.mac != daemon.identity) {
        return Fault{"avoipd calls itself " + daemon.identity +
                     ", but the MAC address of eth0.2 is " + control.mac + "."};
    }
    if (std::string lack = lackOf(control); !lack.empty()) {
        return Fault{std::move(lack), Cure::kOutside};
    }
    if (!daemon.replyPortSharer.empty()) {
        return Fault{"UDP port 8003 is shared with " + daemon.replyPortSharer +
                         ", which takes replies of the devices: end it.",
                     Cure::kOutside};
    }
    return std::nullopt;
}

}  // namespace

std::optional<Obstacle> Fault_obstacle(const Seen& seen) {
    if (std::string lack = lackOf(seen.control); !lack.empty()) {
        return Obstacle{std::move(lack), true};
    }
    if (!seen.holders.consolePort.empty()) {
        return Obstacle{"TCP port 6888 is held by " + seen.holders.consolePort + ": end it."};
    }
    if (!seen.holders.replyPort.empty()) {
        return Obstacle{"UDP port 8003 is held by " + seen.holders.replyPort + ": end it."};
    }
    if (!seen.holders.segment.empty()) {
        return Obstacle{"The answer segment (key 0x12345678) belongs to " + seen.holders.segment +
                        ": ipcrm -M 0x12345678, as that user or root."};
    }
    return std::nullopt;
}

std::optional<Fault> Fault_find(const Seen& seen) {
    if (auto fault = consoleFault(seen.daemon)) {
        return fault;
    }
    return deviceFault(seen.control, seen.daemon);
}

}  // namespace avoip::guard
