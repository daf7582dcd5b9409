// Changes of some of a device's parameters: "encoder set TX-0001 --bitrate 8000". The console can
// only set all of them at once, so the others are read first, verified, and sent as they were.
// Somebody else who changes the same device in between is not seen.
#pragma once

#include <span>
#include <string>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Whether the command sets parameters of a device that another one reads back, each of them.
bool Change_isPossible(const Command& command);

/// Reads what the device is set to, puts it where `values` are empty, shows what changes, and runs
/// the command. The first value is the device. What a device says that the console could not carry
/// back is refused, and nothing is sent.
Status Change_run(Session& session, const Command& command, std::span<const std::string> values);

}  // namespace avoip::ctl
