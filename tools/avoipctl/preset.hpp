// Presets: the routes of a whole system in a file, which can be read, edited and loaded again.
//
// The file is text. A line is one route: its kind, the encoder or "-" for none, and the decoder,
// with blanks between them; the decoder may hold blanks. Lines that begin with "#" and empty lines
// count for nothing:
//
//     # Routes, saved by avoipctl
//     video TX-0002 RX-0001
//     video - RX-0002
//     ir TX-0001 RX-0001
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

struct PresetRoute {
    std::string kind;     ///< "video", "serial" or "ir"
    std::string encoder;  ///< empty: none
    std::string decoder;
    bool operator==(const PresetRoute&) const = default;
};

/// Reads the text of a preset. Gives nothing, or what is wrong with it and in which line.
std::string Preset_read(std::string_view text, std::vector<PresetRoute>& routes);

/// The text of a preset.
std::string Preset_write(const std::vector<PresetRoute>& routes);

/// Asks every decoder for its routes of these kinds ("video", "serial", "ir", "all") and saves
/// them. Where one does not answer nothing is saved (kFailure); a file that was there stays until
/// the new one is whole.
Status Preset_save(Session& session, std::string_view kind, const std::string& path);

/// Reads the whole file, then sets or clears each of its routes; with --verify each is asked back.
/// Of a file with a mistake nothing is sent (kWrongUsage). Else gives the worst that came of a
/// route.
Status Preset_load(Session& session, const std::string& path);

}  // namespace avoip::ctl
