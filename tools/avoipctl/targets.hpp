// The devices that an update is for: their versions before and after it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "avoipctl/screen.hpp"
#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// A device that an update is for.
struct Target {
    std::string identity;
    std::string before;        ///< its version before the update
    std::string after;         ///< and after it, empty while it is not listed
    std::string address = {};  ///< where the image is uploaded to
    DeviceKind kind = DeviceKind::kAny;
};

/// Asks a listing command for the devices, and puts them behind those in `devices`.
Status Targets_list(Session& session, const Command& listing, std::vector<Target>& devices);

/// Looks at the devices until all targets have the version `wanted`, or at least another than
/// before: for a minute at most where `patient`, and otherwise once.
Status Targets_await(Session& session, const Command& listing, std::vector<Target>& targets,
                     const std::string& wanted, bool patient);

/// Whether all of them have the version `wanted` now.
bool Targets_allHave(std::span<const Target> targets, const std::string& wanted);

/// The targets as a table with their versions before the update.
std::string Targets_plan(std::span<const Target> targets, const Screen& screen = {});

/// The targets as a table, with what became of each: "updated" when it now has the version
/// `wanted`, "same version" when it had that before, "unchanged" when it still has its old one,
/// "changed" when it has yet another, "not listed" when it does not answer.
std::string Targets_print(std::span<const Target> targets, const std::string& wanted,
                          const Screen& screen = {});

}  // namespace avoip::ctl
