// Firmware: "image" looks at an image file, "update" has the daemon push it to devices.
#pragma once

#include <span>
#include <string>

#include "avoipctl/session.hpp"
#include "lib/client/answer.hpp"

namespace avoip::ctl {

/// A device that an update is for.
struct Target {
    std::string identity;
    std::string before;        ///< its version before the update
    std::string after;         ///< and after it, empty while it is not listed
    std::string address = {};  ///< where the image is uploaded to
};

/// The targets as a table, with what became of each: "updated" when it now has the version
/// `wanted`, "same version" when it had that before, "unchanged" when it still has its old one,
/// "changed" when it has yet another, "not listed" when it does not answer.
std::string Update_print(std::span<const Target> targets, const std::string& wanted);

/// Prints what the image file at `path` says of itself; kWrongUsage when it is no image.
Status Update_showImage(Session& session, const std::string& path);

/// Runs an update command of the catalogue. The last value is the image's path, made absolute since
/// the daemon reads it; one before it is the device. Refuses an image that the daemon would refuse
/// (kWrongUsage) and a device that is not listed (kFailure), shows the image and the devices, asks
/// the daemon, and shows the versions of the devices when they are back. On a terminal it shows
/// meanwhile that work goes on. With --json it prints the daemon's answer only.
Status Update_run(Session& session, const Command& command, std::span<const std::string> values);

}  // namespace avoip::ctl
