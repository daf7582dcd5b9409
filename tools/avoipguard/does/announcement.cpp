#include "avoipguard/does/announcement.hpp"

#include <cerrno>
#include <cstring>
#include <ctime>

#include "lib/health/state_folder.hpp"

namespace avoip::guard {

namespace {

/// The state and its reason as people read them.
std::string textOf(const Health& health) {
    const std::string state(Health_stateName(health.state));
    if (!health.reason.empty()) {
        return state + ": " + health.reason;
    }
    return health.state == HealthState::kOk
               ? state + ": avoipd is process " + std::to_string(health.daemonPid) + "."
               : state;
}

void write(Announcement& announcement, Relay& errors) {
    const bool isWritten =
        StateFolder_write(announcement.stateFolder, Health_text(announcement.shown));
    if (!isWritten && !announcement.hasFailed) {
        Relay_line(errors, "avoipguard: The state file in " + announcement.stateFolder +
                               " cannot be written (" + std::strerror(errno) + ").");
    }
    announcement.hasFailed = !isWritten;
}

}  // namespace

void Announcement_make(Announcement& announcement, Health health, const Notify& notify,
                       Relay& errors) {
    const Health& before = announcement.shown;
    const bool hasNewState = !announcement.isShown || health.state != before.state;
    const bool hasNews = hasNewState || health.reason != before.reason;
    health.since = hasNewState ? std::time(nullptr) : before.since;
    if (announcement.isShown && health == before && !announcement.hasFailed) {
        return;
    }
    announcement.shown = health;
    announcement.isShown = true;
    if (hasNews) {
        const std::string text = textOf(health);
        Relay_line(errors, "avoipguard: " + text);
        Notify_send(notify, "STATUS=" + text);
    }
    write(announcement, errors);
}

}  // namespace avoip::guard
