// Video walls. The console places one decoder at a time, with ten values; here a wall is a grid of
// decoders, and its tiles are computed.
//
// Devices cannot be asked for their tiles, so avoipctl remembers those that it has set itself, for
// "wall show" to draw: in the file "walls" of the state folder, a line for each tile.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// A wall as it is typed.
struct WallGrid {
    std::string size = {};  ///< "2x2": columns and rows
    std::string encoder = {};
    std::vector<std::string> decoders = {};  ///< row by row, each from the left
    std::string picture = {};  ///< "3840x2160"; empty: 1920x1080 for each tile, and the bezels
    std::string bezel = {};    ///< "40" or "40x20"; empty: 0
};

/// The values of "wall set" for one tile.
using WallTile = std::vector<std::string>;

/// Computes the tiles of a wall, one for each decoder. The picture is cut into equal tiles with the
/// bezels between them, which are sent as the cuts. Gives nothing, or what is wrong, as a sentence.
std::string Wall_tiles(const WallGrid& grid, std::vector<WallTile>& tiles);

/// Sets the tiles of a wall, one after the other, and draws it.
Status Wall_makeGrid(Session& session, const WallGrid& grid);

/// Draws the walls that are remembered; with --json an object that holds their tiles as "tiles".
Status Wall_show(Session& session);

/// Remembers what a command that succeeded has made of a wall; other commands are passed over.
void Wall_note(const Command& command, std::span<const std::string> values);

/// Draws a wall: `cells` row by row, `columns` in a row, no wider than `width` where that is not 0.
std::string Wall_draw(std::span<const std::string> cells, std::size_t columns, int width);

}  // namespace avoip::ctl
