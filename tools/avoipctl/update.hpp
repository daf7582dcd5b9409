// Firmware: "image" looks at an image file, "update" has the daemon push it to devices.
#pragma once

#include <span>
#include <string>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// What an interrupt says while the daemon updates devices.
inline constexpr const char* kUploadGoesOn = "The upload goes on; do not switch the device off.";

/// Prints what the image file at `path` says of itself; kWrongUsage when it is no image.
Status Update_showImage(Session& session, const std::string& path);

/// kSuccess when the daemon would take the image at this absolute path for this update command,
/// else kWrongUsage with a report.
Status Update_checkImage(Session& session, const Command& command, const std::string& path);

/// Runs an update command of the catalogue. The last value is the image's path, made absolute since
/// the daemon reads it; one before it is the device. Refuses an image that the daemon would refuse
/// (kWrongUsage) and a device that is not listed (kFailure), shows the image and the devices, asks
/// the daemon, and shows the versions of the devices when they are back. On a terminal it shows
/// meanwhile that work goes on. With --json it prints the daemon's answer only.
Status Update_run(Session& session, const Command& command, std::span<const std::string> values);

}  // namespace avoip::ctl
