#include "gateway/operations/walls.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "gateway/operations/body.hpp"
#include "lib/base/json.hpp"

namespace avoip::gw {

namespace {

/// More tiles than any room has.
constexpr int kMostTilesAlong = 64;
constexpr int kMostPixels = std::numeric_limits<int>::max();

constexpr std::string_view kMembers[] = {"name",  "encoder", "columns", "rows",
                                         "width", "height",  "bezel",   "tiles"};
constexpr std::string_view kBezelMembers[] = {"horizontal", "vertical"};
constexpr std::string_view kTileMembers[] = {"decoder", "column", "row", "computed"};

int wholeOf(Body& body, std::string_view key, int least, int most) {
    body.require(key);
    return static_cast<int>(body.whole(key, least, most).value_or(least));
}

void readBezel(Body& body, Wall& wall) {
    const cJSON* const object = body.object("bezel");
    if (object == nullptr) {
        return;
    }
    Body bezel(object, "bezel.");
    bezel.only(kBezelMembers);
    wall.bezelHorizontal = static_cast<int>(bezel.whole("horizontal", 0, kMostPixels).value_or(0));
    wall.bezelVertical = static_cast<int>(bezel.whole("vertical", 0, kMostPixels).value_or(0));
    body.take(bezel.problem());
}

/// Reads a tile, and sees that neither its place nor its decoder is taken.
void readTile(Body& body, const cJSON* item, const std::string& path, Wall& wall) {
    Body read(item, path);
    read.only(kTileMembers);
    read.require("decoder");
    const Tile tile{read.text("decoder").value_or(""), wholeOf(read, "column", 0, wall.columns - 1),
                    wholeOf(read, "row", 0, wall.rows - 1)};
    for (const Tile& other : wall.tiles) {
        if (other.column == tile.column && other.row == tile.row) {
            read.blame("column", "Two tiles are in this place.");
        }
        if (other.decoder == tile.decoder) {
            read.blame("decoder", "This decoder has two tiles.");
        }
    }
    body.take(read.problem());
    wall.tiles.push_back(tile);
}

Request setTile(const Wall& wall, const Tile& tile) {
    const TileOffset offset = Wall_offset(wall, tile);
    const auto text = [](std::int64_t number) { return std::to_string(number); };
    return {Catalogue_findText("vw set"),
            {text(wall.width), text(wall.height), text(wall.bezelHorizontal),
             text(wall.bezelVertical), text(tile.column), text(tile.row), text(offset.x),
             text(offset.y), wall.encoder, tile.decoder}};
}

Request removeTile(const std::string& decoder) {
    return {Catalogue_findText("vw remove"), {decoder}};
}

std::set<std::string> decodersOf(const Wall& wall) {
    std::set<std::string> decoders;
    for (const Tile& tile : wall.tiles) {
        decoders.insert(tile.decoder);
    }
    return decoders;
}

/// Whether the decoder is in another wall than `name`.
std::optional<Problem> problemOfOtherWalls(const State& state, const std::string& name,
                                           const std::string& decoder, const std::string& field) {
    for (const auto& [other, wall] : state.walls) {
        if (other != name && decodersOf(wall).contains(decoder)) {
            return Problem{409, "\"" + decoder + "\" is in the wall \"" + other + "\".", field};
        }
    }
    return std::nullopt;
}

std::optional<Problem> problemOfDevices(const State& state, const Wall& wall) {
    const Command& set = *Catalogue_findText("vw set");
    if (auto problem = Problem_ofValue(set.arguments[8], wall.encoder, "encoder")) {
        return problem;
    }
    if (auto problem = Problem_ofDevice(state, wall.encoder, DeviceKind::kEncoder, "encoder")) {
        return problem;
    }
    for (std::size_t i = 0; i < wall.tiles.size(); ++i) {
        const std::string field = "tiles." + std::to_string(i) + ".decoder";
        const std::string& decoder = wall.tiles[i].decoder;
        auto problem = Problem_ofDevice(state, decoder, DeviceKind::kDecoder, field);
        problem = problem ? problem : problemOfOtherWalls(state, wall.name, decoder, field);
        if (problem) {
            return problem;
        }
    }
    return std::nullopt;
}

/// The wall as it is; one without tiles when there is none.
Wall wallNow(const State& state, const std::string& name) {
    const auto found = state.walls.find(name);
    return found == state.walls.end() ? Wall{} : found->second;
}

}  // namespace

Outcome<Wall> Wall_readBody(const std::string& name, const cJSON* body) {
    Body read(body);
    read.only(kMembers);
    Wall wall;
    wall.name = name;
    if (read.text("name").value_or(name) != name) {
        read.blame("name", "The path has another name.");
    }
    read.require("encoder");
    wall.encoder = read.text("encoder").value_or("");
    wall.columns = wholeOf(read, "columns", 1, kMostTilesAlong);
    wall.rows = wholeOf(read, "rows", 1, kMostTilesAlong);
    wall.width = wholeOf(read, "width", 1, kMostPixels);
    wall.height = wholeOf(read, "height", 1, kMostPixels);
    readBezel(read, wall);
    std::size_t number = 0;
    for (const cJSON* item : Json_items(read.array("tiles"))) {
        readTile(read, item, "tiles." + std::to_string(number) + ".", wall);
        ++number;
    }
    return read.outcome(std::move(wall));
}

Outcome<bool> Walls_put(Operations& operations, const Actor& actor, const Wall& wall) {
    const std::scoped_lock alone(operations.wallsChanging);
    Wall before;
    const auto problem = operations.state.with([&](const State& state) {
        before = wallNow(state, wall.name);
        auto found = problemOfDevices(state, wall);
        std::set<std::string> decoders = decodersOf(wall);
        decoders.merge(decodersOf(before));
        return found ? found : Problem_ofLocks(state, actor, decoders);
    });
    if (problem) {
        return *problem;
    }
    const std::set<std::string> now = decodersOf(wall);
    for (const std::string& decoder : decodersOf(before)) {
        if (now.contains(decoder)) {
            continue;
        }
        if (const auto sent = Operations_send(operations, removeTile(decoder)); !sent.succeeded()) {
            return sent.problem();
        }
    }
    for (const Tile& tile : wall.tiles) {
        if (const auto sent = Operations_send(operations, setTile(wall, tile)); !sent.succeeded()) {
            return sent.problem();
        }
    }
    if (const auto lost = operations.keeping.wall(wall)) {
        return *lost;
    }
    return operations.state.with([&](State& state) {
        const bool made = !state.walls.contains(wall.name);
        State_put(state, wall);
        return Outcome<bool>(made);
    });
}

Outcome<Done> Walls_remove(Operations& operations, const Actor& actor, const std::string& name) {
    const std::scoped_lock alone(operations.wallsChanging);
    Wall wall;
    const auto problem = operations.state.with([&](const State& state) {
        wall = wallNow(state, name);
        return wall.name.empty() ? std::optional(Problem{404, "There is no such wall.", "name"})
                                 : Problem_ofLocks(state, actor, decodersOf(wall));
    });
    if (problem) {
        return *problem;
    }
    for (const Tile& tile : wall.tiles) {
        if (const auto sent = Operations_send(operations, removeTile(tile.decoder));
            !sent.succeeded()) {
            return sent.problem();
        }
    }
    if (const auto lost = operations.keeping.wallRemoved(name)) {
        return *lost;
    }
    operations.state.with([&](State& state) { return State_removeWall(state, name); });
    return Done{};
}

}  // namespace avoip::gw
