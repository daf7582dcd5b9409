#include "avoipctl/supervision.hpp"

#include <cstdlib>
#include <ctime>
#include <ostream>

#include "lib/base/json.hpp"
#include "lib/health/health_reader.hpp"

namespace avoip::ctl {

namespace {

constexpr const char* kQuestion = "config get devices!";
constexpr int kAnswerWithinMs = 5000;

struct Free {
    void operator()(char* text) const { std::free(text); }
};

bool isSuccess(const char* answer) {
    const Json root = Json_parse(answer);
    return Json_text(Json_find(root.get(), "ack"), "status") == "success";
}

/// Asks the daemon for its devices: that takes the console, the segment and the way to the devices.
Health ask(const Options& options) {
    Health health;
    health.since = std::time(nullptr);
    const std::unique_ptr<avoip_frontend, FrontendClose> frontend(
        avoip_frontend_open(options.host.c_str(), options.port));
    if (frontend == nullptr) {
        return health;
    }
    char* text = nullptr;
    const int timeout_ms =
        options.timeout_s > 0 ? static_cast<int>(options.timeout_s * 1000) : kAnswerWithinMs;
    const auto result = avoip_frontend_ask(frontend.get(), kQuestion, timeout_ms, &text);
    const std::unique_ptr<char, Free> answer(text);
    if (result == AVOIP_OK && isSuccess(answer.get())) {
        health.state = HealthState::kOk;
    } else if (result == AVOIP_OK) {
        health.state = HealthState::kUseless;
        health.reason =
            "avoipd answers, but could not send to the devices: see its output, and whether its "
            "eth0.2 has an address.";
    } else {
        health.state = result == AVOIP_NO_DAEMON ? HealthState::kAbsent : HealthState::kUseless;
        health.reason = avoip_frontend_error(frontend.get());
    }
    return health;
}

void print(Session& session, const Health& health, bool is_supervised,
           const std::string& state_folder) {
    session.out << Health_stateName(health.state)
                << (health.reason.empty() ? "" : ": " + health.reason) << '\n';
    if (!is_supervised) {
        session.out << "No avoipguard keeps " << state_folder << "; the daemon was asked.\n";
        return;
    }
    session.out << "Since " << Health_timeText(health.since) << "; "
                << (health.daemon_pid == 0
                        ? "no avoipd runs"
                        : "avoipd is process " + std::to_string(health.daemon_pid))
                << ", restarts: " << health.restarts << ".\n";
}

}  // namespace

Status Supervision_show(Session& session, const std::string& state_folder) {
    const auto kept = Health_readFolder(state_folder);
    const Health health = kept ? *kept : ask(session.options);
    if (session.options.json) {
        session.out << Health_text(health) << '\n';
    } else {
        print(session, health, kept.has_value(), state_folder);
    }
    switch (health.state) {
        case HealthState::kOk:
            return kSuccess;
        case HealthState::kUseless:
            return kFailure;
        default:
            return kNoDaemon;
    }
}

}  // namespace avoip::ctl
