// How the daemon is, as its supervisor sees it, and the text in which that stands in the state
// folder: one line of JSON with these members in this order.
//
//     {"state":"ok","reason":"","since":"2026-01-02T03:04:05Z","restarts":0,"daemon_pid":4711}
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace avoip {

enum class HealthState {
    kWaiting,   ///< the daemon is not started: what it needs is not there yet
    kStarting,  ///< started, and not seen to work yet
    kOk,        ///< works
    kUseless,   ///< does not work, or cannot be started
    kStopping,  ///< being ended for good
    kAbsent     ///< there is none, and nobody who would start it; never set down by a supervisor
};

struct Health {
    HealthState state = HealthState::kStarting;
    std::string reason;     ///< why, and what can be done about it; may be empty when it works
    std::time_t since = 0;  ///< when it came into this state
    int restarts = 0;       ///< how often the daemon was started after the first time
    int daemonPid = 0;      ///< 0 when there is none
    bool operator==(const Health&) const = default;
};

/// The word that stands for a state in the text.
std::string_view Health_stateName(HealthState state);

/// The state that a word stands for; nothing when it stands for none.
std::optional<HealthState> Health_stateNamed(std::string_view name);

/// The text, without a line end. Control characters of the reason are escaped; bytes that are no
/// UTF-8 stay as they are.
std::string Health_text(const Health& health);

/// A moment as the text shows it: "2026-01-02T03:04:05Z".
std::string Health_timeText(std::time_t moment);

}  // namespace avoip
