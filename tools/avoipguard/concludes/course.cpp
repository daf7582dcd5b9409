#include "avoipguard/concludes/course.hpp"

#include <algorithm>
#include <utility>

namespace avoip::guard {

namespace {

/// A daemon has its console within milliseconds; a machine that is busy takes longer.
constexpr std::int64_t kConsoleComesWithinMs = 5000;
/// A daemon that has served for so long was mended by its start.
constexpr std::int64_t kMendedMs = 2000;
constexpr std::int64_t kFirstPauseMs = 250;
constexpr std::int64_t kLongestPauseMs = 60'000;
/// The longest answer of a device to an upload takes five minutes.
constexpr std::int64_t kLongestUploadMs = 10 * std::int64_t{60'000};

constexpr int kQuietlyFromPercent = 60;
constexpr int kInTurnFromPercent = 85;
constexpr int kAtOnceFromPercent = 95;

/// The pause behind so many failures in a row.
std::int64_t pauseBehind(int failures) {
    std::int64_t pause_ms = failures < 2 ? 0 : kFirstPauseMs;
    for (int i = 2; i < failures && pause_ms < kLongestPauseMs; ++i) {
        pause_ms *= 2;
    }
    return std::min(pause_ms, kLongestPauseMs);
}

void enter(Course& course, Phase phase, std::int64_t now_ms) {
    course.phase = phase;
    course.phaseSince_ms = now_ms;
    course.sparedSince_ms = -1;
}

/// The daemon is lost, for this reason.
void lose(Course& course, std::string reason, std::int64_t now_ms) {
    const bool wasMended =
        course.phase == Phase::kServing && now_ms - course.phaseSince_ms >= kMendedMs;
    course.failures = wasMended ? 1 : course.failures + 1;
    course.notBefore_ms = now_ms + pauseBehind(course.failures);
    course.reason = std::move(reason);
    course.hasFailed = true;
    enter(course, Phase::kNoDaemon, now_ms);
}

/// What is shown while no daemon serves.
Step unproven(const Course& course, Action action = Action::kNone) {
    return {course.hasFailed ? HealthState::kUseless : HealthState::kStarting, course.reason,
            action};
}

Step withoutDaemon(Course& course, const Seen& seen, std::int64_t now_ms) {
    if (course.phase != Phase::kNoDaemon) {
        lose(course, seen.end, now_ms);
    }
    if (auto obstacle = Fault_obstacle(seen)) {
        if (seen.lingers && !obstacle->isControl) {
            return unproven(course);
        }
        return {obstacle->isControl ? HealthState::kWaiting : HealthState::kUseless,
                std::move(obstacle->reason)};
    }
    if (now_ms < course.notBefore_ms) {
        return unproven(course);
    }
    enter(course, Phase::kStarting, now_ms);
    return unproven(course, Action::kStart);
}

/// Ends the daemon, unless an upload is to be waited for.
Step meet(Course& course, Fault fault, const Seen& seen, std::int64_t now_ms) {
    if (fault.cure == Cure::kOutside) {
        return {HealthState::kUseless, std::move(fault.reason)};
    }
    if (fault.sparesUploads && seen.daemon.uploads) {
        course.sparedSince_ms = course.sparedSince_ms < 0 ? now_ms : course.sparedSince_ms;
        if (now_ms - course.sparedSince_ms < kLongestUploadMs) {
            return {HealthState::kUseless,
                    fault.reason + " It is restarted when the firmware upload has ended."};
        }
    }
    lose(course, std::move(fault.reason), now_ms);
    return unproven(course, Action::kEnd);
}

/// What a daemon that works may have to be warned of.
std::string caveat(const Seen& seen) {
    return seen.control.routeFits
               ? ""
               : "The route to the devices' group 239.255.255.250 does not lead out of eth0.2: ip "
                 "route add 224.0.0.0/4 dev eth0.2";
}

Step working(const Seen& seen) {
    return {HealthState::kOk, caveat(seen)};
}

Step starting(Course& course, const Seen& seen, std::int64_t now_ms) {
    if (!seen.daemon.hasConsole) {
        if (now_ms - course.phaseSince_ms < kConsoleComesWithinMs) {
            return unproven(course);
        }
        return meet(course, {"avoipd does not open its console on TCP port 6888."}, seen, now_ms);
    }
    auto fault = Fault_find(seen);
    if (fault && fault->cure == Cure::kRestart) {
        return meet(course, std::move(*fault), seen, now_ms);
    }
    if (!seen.daemon.isProven) {
        return unproven(course);
    }
    course.reason.clear();
    course.hasFailed = false;
    enter(course, Phase::kServing, now_ms);
    return fault ? meet(course, std::move(*fault), seen, now_ms) : working(seen);
}

std::string wornText(const Wear& wear) {
    return "avoipd has used up " + std::to_string(wear.percent) + " % of its " +
           std::string(wear.what);
}

Step serving(Course& course, const Seen& seen, std::int64_t now_ms) {
    auto fault = Fault_find(seen);
    const Wear& wear = seen.daemon.wear;
    if (!fault && wear.percent >= kAtOnceFromPercent) {
        fault = Fault{wornText(wear) + "."};
    }
    if (fault) {
        return meet(course, std::move(*fault), seen, now_ms);
    }
    course.sparedSince_ms = -1;
    Step step = working(seen);
    if (!seen.daemon.uploads && wear.percent >= kInTurnFromPercent) {
        step.action = Action::kReplaceInTurn;
    } else if (!seen.daemon.uploads && wear.percent >= kQuietlyFromPercent) {
        step.action = Action::kReplaceQuietly;
    }
    return step;
}

}  // namespace

Step Course_next(Course& course, const Seen& seen, std::int64_t now_ms) {
    if (!seen.runs) {
        return withoutDaemon(course, seen, now_ms);
    }
    return course.phase == Phase::kServing ? serving(course, seen, now_ms)
                                           : starting(course, seen, now_ms);
}

void Course_replaced(Course& course, const Wear& wear, std::int64_t now_ms) {
    course.failures = 0;
    course.notBefore_ms = now_ms;
    course.hasFailed = false;
    course.reason = wornText(wear) + ": it is replaced by a new one.";
    enter(course, Phase::kNoDaemon, now_ms);
}

}  // namespace avoip::guard
