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
               ? state + ": avoipd is process " + std::to_string(health.daemon_pid) + "."
               : state;
}

void write(Announcement& announcement, Relay& errors) {
    const bool is_written =
        StateFolder_write(announcement.state_folder, Health_text(announcement.shown));
    if (!is_written && !announcement.has_failed) {
        Relay_line(errors, "avoipguard: The state file in " + announcement.state_folder +
                               " cannot be written (" + std::strerror(errno) + ").");
    }
    announcement.has_failed = !is_written;
}

}  // namespace

void Announcement_make(Announcement& announcement, Health health, const Notify& notify,
                       Relay& errors) {
    const Health& before = announcement.shown;
    const bool has_new_state = !announcement.is_shown || health.state != before.state;
    const bool has_news = has_new_state || health.reason != before.reason;
    health.since = has_new_state ? std::time(nullptr) : before.since;
    if (announcement.is_shown && health == before && !announcement.has_failed) {
        return;
    }
    announcement.shown = health;
    announcement.is_shown = true;
    if (has_news) {
        const std::string text = textOf(health);
        Relay_line(errors, "avoipguard: " + text);
        Notify_send(notify, "STATUS=" + text);
    }
    write(announcement, errors);
}

}  // namespace avoip::guard
