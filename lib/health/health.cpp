#include "lib/health/health.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace avoip {

namespace {

struct NamedState {
    HealthState state;
    std::string_view name;
};

constexpr std::array<NamedState, 6> kStates{{
    {HealthState::kWaiting, "waiting"},
    {HealthState::kStarting, "starting"},
    {HealthState::kOk, "ok"},
    {HealthState::kUseless, "useless"},
    {HealthState::kStopping, "stopping"},
    {HealthState::kAbsent, "absent"},
}};

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", unsigned{byte});
            result += escape.data();
        } else {
            if (character == '"' || character == '\\') {
                result += '\\';
            }
            result += character;
        }
    }
    return result + "\"";
}

}  // namespace

std::string_view Health_stateName(HealthState state) {
    return std::ranges::find(kStates, state, &NamedState::state)->name;
}

std::optional<HealthState> Health_stateNamed(std::string_view name) {
    const auto* const found = std::ranges::find(kStates, name, &NamedState::name);
    return found == kStates.end() ? std::nullopt : std::optional(found->state);
}

std::string Health_text(const Health& health) {
    return "{\"state\":" + quoted(Health_stateName(health.state)) +
           ",\"reason\":" + quoted(health.reason) +
           ",\"since\":" + quoted(Health_timeText(health.since)) +
           ",\"restarts\":" + std::to_string(health.restarts) +
           ",\"daemon_pid\":" + std::to_string(health.daemonPid) + "}";
}

std::string Health_timeText(std::time_t moment) {
    std::tm parts{};
    ::gmtime_r(&moment, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

}  // namespace avoip
