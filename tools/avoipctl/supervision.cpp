#include "avoipctl/supervision.hpp"

#include <ctime>
#include <ostream>
#include <string_view>

#include "avoipctl/run.hpp"
#include "lib/health/health_reader.hpp"

namespace avoip::ctl {

namespace {

constexpr std::string_view kQuestion = "config get devices!";

/// How a daemon is that was asked for its devices: that takes the console, the segment and the way
/// to the devices.
Health healthBy(const Reply& reply) {
    Health health;
    health.since = std::time(nullptr);
    switch (reply.end) {
        case End::kSuccess:
            health.state = HealthState::kOk;
            break;
        case End::kFailure:
            health.state = HealthState::kUseless;
            health.reason =
                "avoipd answers, but could not send to the devices: see its output, and whether "
                "its eth0.2 has an address.";
            break;
        case End::kNoDaemon:
            health.state = HealthState::kAbsent;
            health.reason = reply.reason;
            break;
        default:
            health.state = HealthState::kUseless;
            health.reason = reply.reason;
    }
    return health;
}

void print(Session& session, const Health& health, bool isSupervised,
           const std::string& stateFolder) {
    session.out << Health_stateName(health.state)
                << (health.reason.empty() ? "" : ": " + health.reason) << '\n';
    if (!isSupervised) {
        session.out << "No avoipguard keeps " << stateFolder << "; the daemon was asked.\n";
        return;
    }
    session.out << "Since " << Health_timeText(health.since) << "; "
                << (health.daemonPid == 0 ? "no avoipd runs"
                                          : "avoipd is process " + std::to_string(health.daemonPid))
                << ", restarts: " << health.restarts << ".\n";
}

}  // namespace

Status Supervision_show(Session& session, const std::string& stateFolder) {
    const auto kept = Health_readFolder(stateFolder);
    Health health;
    if (kept) {
        health = *kept;
    } else {
        const Reply reply = Client_send(Session_client(session), std::string(kQuestion));
        if (reply.end == End::kNoTurn) {
            // This says nothing of the daemon.
            return Run_report(session, reply);
        }
        health = healthBy(reply);
    }
    if (session.options.json) {
        session.out << Health_text(health) << '\n';
    } else {
        print(session, health, kept.has_value(), stateFolder);
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
