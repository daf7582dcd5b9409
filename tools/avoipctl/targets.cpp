#include "avoipctl/targets.hpp"

#include <algorithm>
#include <chrono>
#include <thread>

#include "avoipctl/interrupt.hpp"
#include "avoipctl/progress.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/table.hpp"
#include "lib/client/answer.hpp"

namespace avoip::ctl {
namespace {

using namespace std::chrono_literals;

// Devices take the new version when they have started again.
constexpr auto kReturnPatience = 60s;

/// The version without the "V" that some devices, and the daemon, write before it.
std::string_view numbers(std::string_view version) {
    if (version.starts_with('V') || version.starts_with('v')) {
        version.remove_prefix(1);
    }
    return version;
}

bool hasVersion(const Target& target, const std::string& wanted) {
    return numbers(target.after) == numbers(wanted);
}

std::string outcome(const Target& target, const std::string& wanted) {
    if (target.after.empty()) {
        return "not listed";
    }
    if (hasVersion(target, wanted)) {
        return target.after == target.before ? "same version" : "updated";
    }
    return target.after == target.before ? "unchanged" : "changed";
}

/// Takes over what a new list says about the targets; true when all are listed, with the version
/// `wanted` or at least another than before.
bool noteVersions(std::vector<Target>& targets, std::span<const Target> listed,
                  const std::string& wanted) {
    bool all = true;
    for (Target& target : targets) {
        const auto found = std::ranges::find(listed, target.identity, &Target::identity);
        target.after = found == listed.end() ? "" : found->before;
        all = all && !target.after.empty() &&
              (hasVersion(target, wanted) || target.after != target.before);
    }
    return all;
}

DeviceKind kindOf(std::string_view type) {
    if (type == "TX") {
        return DeviceKind::kEncoder;
    }
    return type == "RX" ? DeviceKind::kDecoder : DeviceKind::kAny;
}

}  // namespace

Status Targets_list(Session& session, const Command& listing, std::vector<Target>& devices) {
    Reply reply;
    const Status status = Run_read(session, listing, {}, reply);
    for (const Row& row : reply.answer.rows) {
        const auto said = [&](std::string_view key) {
            return Answer_member(listing.shape, row, key);
        };
        devices.push_back(
            {said("hostid"), said("version"), "", said("devaddr"), kindOf(said("devtype"))});
    }
    return status;
}

Status Targets_await(Session& session, const Command& listing, std::vector<Target>& targets,
                     const std::string& wanted, bool patient) {
    const InterruptText text("The images are with the devices, which take a while to start again.");
    const Progress progress("Waiting for the devices to come back");
    const auto end = std::chrono::steady_clock::now() + kReturnPatience;
    while (true) {
        std::vector<Target> listed;
        if (const Status status = Targets_list(session, listing, listed); status != kSuccess) {
            return status;
        }
        if (noteVersions(targets, listed, wanted) || !patient ||
            std::chrono::steady_clock::now() > end) {
            return kSuccess;
        }
        std::this_thread::sleep_for(500ms);
    }
}

bool Targets_allHave(std::span<const Target> targets, const std::string& wanted) {
    return std::ranges::all_of(targets,
                               [&](const Target& target) { return hasVersion(target, wanted); });
}

std::string Targets_plan(std::span<const Target> targets, const Screen& screen) {
    std::vector<Row> rows;
    for (const Target& target : targets) {
        rows.push_back({target.identity, target.before});
    }
    return Table_print(std::vector<std::string>{"IDENTITY", "VERSION"}, rows, screen);
}

std::string Targets_print(std::span<const Target> targets, const std::string& wanted,
                          const Screen& screen) {
    std::vector<Row> rows;
    for (const Target& target : targets) {
        rows.push_back({target.identity, target.before, target.after, outcome(target, wanted)});
    }
    return Table_print(std::vector<std::string>{"IDENTITY", "BEFORE", "AFTER", "RESULT"}, rows,
                       screen);
}

}  // namespace avoip::ctl
