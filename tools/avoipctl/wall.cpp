#include "avoipctl/wall.hpp"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <utility>

#include "avoipctl/line.hpp"
#include "avoipctl/names.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/table.hpp"
#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

constexpr std::string_view kWallsFile = "walls";
constexpr int kTileWidth = 1920;
constexpr int kTileHeight = 1080;
constexpr int kMostTiles = 64;  // across, and down
constexpr int kMostPixels = 1 << 20;

// Where the values of "wall set" stand.
enum Place {
    kWidth,
    kHeight,
    kHorizontalCut,
    kVerticalCut,
    kColumn,
    kRow,
    kX,
    kY,
    kEncoder,
    kDecoder
};
constexpr std::size_t kPlaces = 10;

const Command& setCommand() {
    return *Catalogue_find("wall", "set");
}

std::optional<int> numberIn(std::string_view text, int least, int most) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const bool right =
        read.ec == std::errc{} && read.ptr == end && number >= least && number <= most;
    return right ? std::optional(number) : std::nullopt;
}

using Pair = std::pair<int, int>;

/// "2x3": across and down.
std::optional<Pair> pairIn(std::string_view text, int least, int most) {
    const std::size_t cross = text.find('x');
    if (cross == std::string_view::npos) {
        return std::nullopt;
    }
    const auto across = numberIn(text.substr(0, cross), least, most);
    const auto down = numberIn(text.substr(cross + 1), least, most);
    return across && down ? std::optional(Pair{*across, *down}) : std::nullopt;
}

/// "40", the same both ways, or "40x20"; nothing typed is 0.
std::optional<Pair> bezelIn(std::string_view text) {
    if (text.empty()) {
        return Pair{0, 0};
    }
    const auto both = numberIn(text, 0, kMostPixels);
    return both ? std::optional(Pair{*both, *both}) : pairIn(text, 0, kMostPixels);
}

/// The tiles that are remembered, each as the values of "wall set".
std::vector<WallTile> recall() {
    std::vector<WallTile> tiles;
    const auto path = State_file(kWallsFile);
    std::ifstream file(path);
    for (std::string line; !path.empty() && std::getline(file, line);) {
        WallTile tile;
        std::string_view rest = line;
        while (tile.size() + 1 < kPlaces && !rest.empty()) {
            const std::size_t end = std::min(rest.find(' '), rest.size());
            tile.emplace_back(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        tile.emplace_back(rest);
        const auto arguments = setCommand().arguments;
        const bool right = tile.size() == kPlaces &&
                           std::ranges::equal(tile, arguments, [](auto& value, auto& argument) {
                               return Arguments_problem(argument, value).empty();
                           });
        if (right) {
            tiles.push_back(tile);
        }
    }
    return tiles;
}

void keep(std::span<const WallTile> tiles) {
    const auto path = State_file(kWallsFile);
    if (path.empty()) {
        return;
    }
    std::ofstream file(path);
    for (const WallTile& tile : tiles) {
        for (std::size_t i = 0; i < tile.size(); ++i) {
            file << (i == 0 ? "" : " ") << tile[i];
        }
        file << '\n';
    }
}

/// A wall: what its tiles have in common.
using WallKey = std::vector<std::string>;

std::map<WallKey, std::vector<WallTile>> walls() {
    std::map<WallKey, std::vector<WallTile>> found;
    for (const WallTile& tile : recall()) {
        found[{tile[kEncoder], tile[kWidth], tile[kHeight]}].push_back(tile);
    }
    return found;
}

std::size_t placeOf(const WallTile& tile, Place place) {
    return static_cast<std::size_t>(numberIn(tile[place], 0, kMostTiles - 1).value_or(0));
}

std::string drawTiles(std::span<const WallTile> tiles, int width) {
    std::size_t columns = 0;
    std::size_t rows = 0;
    for (const WallTile& tile : tiles) {
        columns = std::max(columns, placeOf(tile, kColumn) + 1);
        rows = std::max(rows, placeOf(tile, kRow) + 1);
    }
    std::vector<std::string> cells(columns * rows);
    for (const WallTile& tile : tiles) {
        cells[placeOf(tile, kRow) * columns + placeOf(tile, kColumn)] = tile[kDecoder];
    }
    return Wall_draw(cells, columns, width);
}

}  // namespace

std::string Wall_tiles(const WallGrid& grid, std::vector<WallTile>& tiles) {
    const auto size = pairIn(grid.size, 1, kMostTiles);
    const auto bezel = bezelIn(grid.bezel);
    if (!size) {
        return "\"" + grid.size + "\" is no grid: columns and rows from 1 to 64, such as 2x2.";
    }
    if (!bezel) {
        return "\"" + grid.bezel + "\" is no bezel: pixels across and down, such as 40 or 40x20.";
    }
    const auto [columns, rows] = *size;
    const auto [across, down] = *bezel;
    const int gapsAcross = (columns - 1) * across;
    const int gapsDown = (rows - 1) * down;
    const Pair usual{columns * kTileWidth + gapsAcross, rows * kTileHeight + gapsDown};
    const auto picture =
        grid.picture.empty() ? std::optional(usual) : pairIn(grid.picture, 1, kMostPixels);
    if (!picture || picture->first <= gapsAcross || picture->second <= gapsDown) {
        return "\"" + grid.picture +
               "\" is no picture: its width and height, such as 3840x2160, more than the bezels.";
    }
    const auto count = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    if (grid.decoders.size() != count) {
        return "A wall of " + grid.size + " has " + std::to_string(count) + " decoders, not " +
               std::to_string(grid.decoders.size()) + ".";
    }
    const int width = (picture->first - gapsAcross) / columns;
    const int height = (picture->second - gapsDown) / rows;
    for (std::size_t i = 0; i < count; ++i) {
        const int column = static_cast<int>(i) % columns;
        const int row = static_cast<int>(i) / columns;
        const int numbers[] = {picture->first,
                               picture->second,
                               across,
                               down,
                               column,
                               row,
                               column * (width + across),
                               row * (height + down)};
        WallTile& tile = tiles.emplace_back();
        for (const int number : numbers) {
            tile.push_back(std::to_string(number));
        }
        tile.push_back(grid.encoder);
        tile.push_back(grid.decoders[i]);
    }
    return {};
}

Status Wall_makeGrid(Session& session, const WallGrid& grid) {
    std::vector<WallTile> tiles;
    if (const std::string problem = Wall_tiles(grid, tiles); !problem.empty()) {
        Session_error(session, problem + " Nothing was sent.");
        return kWrongUsage;
    }
    std::set<std::string> decoders;
    for (WallTile& tile : tiles) {
        if (const Status known = Names_resolveAll(session, setCommand(), tile); known != kSuccess) {
            return known;
        }
        if (!decoders.insert(tile[kDecoder]).second) {
            Session_error(session,
                          "\"" + tile[kDecoder] + "\" stands in the wall twice. Nothing was sent.");
            return kWrongUsage;
        }
    }
    for (const WallTile& tile : tiles) {
        Reply reply;
        if (const Status status = Run_read(session, setCommand(), tile, reply);
            status != kSuccess) {
            return status;
        }
        Wall_note(setCommand(), tile);
    }
    Run_warnOfUnlisted(session, setCommand(), tiles);
    session.out << drawTiles(tiles, session.screen.columns) << "Sent.\n";
    return kSuccess;
}

Status Wall_show(Session& session) {
    if (session.options.json) {
        constexpr Member kMembers[] = {
            {"wigth", ""}, {"height", ""}, {"horcut", ""}, {"vercut", ""}, {"column", ""},
            {"row", ""},   {"x", ""},      {"y", ""},      {"txid", ""},   {"deviceid", ""}};
        session.out << Printable_json(Answer_writeRows("tiles", kMembers, recall())) << '\n';
        return kSuccess;
    }
    const auto all = walls();
    for (const auto& [key, tiles] : all) {
        session.out << Printable_text(key[0]) << ", " << key[1] << "x" << key[2] << '\n'
                    << drawTiles(tiles, session.screen.columns) << '\n';
    }
    session.out << (all.empty() ? "No wall was made from here.\n"
                                : "As set from here; devices cannot be asked for their tiles.\n");
    return kSuccess;
}

void Wall_note(const Command& command, std::span<const std::string> values) {
    const bool sets = &command == &setCommand();
    if (!sets && &command != Catalogue_find("wall", "remove")) {
        return;
    }
    std::vector<WallTile> tiles = recall();
    std::erase_if(tiles, [&](const WallTile& tile) { return tile[kDecoder] == values.back(); });
    if (sets) {
        const WallTile made(values.begin(), values.end());
        // One tile of a wall has one decoder.
        std::erase_if(tiles, [&](const WallTile& tile) {
            return tile[kEncoder] == made[kEncoder] && tile[kWidth] == made[kWidth] &&
                   tile[kHeight] == made[kHeight] && tile[kColumn] == made[kColumn] &&
                   tile[kRow] == made[kRow];
        });
        tiles.push_back(made);
    }
    keep(tiles);
}

std::string Wall_draw(std::span<const std::string> cells, std::size_t columns, int width) {
    std::size_t cell = 0;
    for (const std::string& text : cells) {
        cell = std::max(cell, Table_textWidth(text));
    }
    if (width > 0) {
        // Each cell has two blanks and a line beside it, and there is one line more.
        const std::size_t room = (static_cast<std::size_t>(width) - 1) / columns;
        cell = std::min(cell, std::max<std::size_t>(room, 7) - 3);
    }
    std::string line;
    for (std::size_t i = 0; i < columns; ++i) {
        line.append("+").append(cell + 2, '-');
    }
    line += "+\n";
    std::string drawn = line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string text = Table_cut(Printable_text(cells[i]), cell);
        drawn.append("| ").append(text).append(cell - Table_textWidth(text) + 1, ' ');
        if ((i + 1) % columns == 0) {
            drawn.append("|\n").append(line);
        }
    }
    return drawn;
}

}  // namespace avoip::ctl
