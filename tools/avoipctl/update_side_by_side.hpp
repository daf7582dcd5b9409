// "update DEVICE... IMAGE": uploads to several devices at once.
//
// Each runs on a connection of its own, since commands on one connection run one after the other.
// They share the daemon's socket towards the devices only for the discovery that each begins with:
// those take turns, a second of silence each, and the uploads behind them run side by side.
#pragma once

#include <span>
#include <string>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Updates these devices, identities or aliases of encoders or decoders, with at most `parallel`
/// uploads at once. Tells what becomes of each while it goes on, and at the end shows the versions
/// of all. Refuses, with nothing sent, an image that one of them would not take, and a device that
/// is not listed. Gives the worst status of all.
Status UpdateSideBySide_run(Session& session, std::span<const std::string> devices,
                            const std::string& image, int parallel);

}  // namespace avoip::ctl
