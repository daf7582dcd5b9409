// What people and programs make and keep: presets, locks, rooms, walls, installation jobs.
//
// The state holds them as they are now. Keeping them beyond the end of the process is the store's
// business, and comes first: what the state shows is kept already.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/state/fleet.hpp"
#include "gateway/state/time.hpp"

namespace avoip::gw {

template <class Resource>
using ByName = std::map<std::string, Resource, std::less<>>;

/// Routes that are wanted: for each kind, by decoder, the encoder; empty for none.
using RouteTable = std::array<ByName<std::string>, kRouteKinds>;

struct Preset {
    std::string name = {};
    std::string note = {};  ///< empty: none
    RouteTable routes = {};
    Time updatedAt = {};
};

struct Lock {
    std::string decoder = {};
    std::string owner = {};
    std::string note = {};
    Time since = {};
};

struct Room {
    std::string name = {};
    std::vector<std::string> decoders = {};
    std::vector<std::string> encoders = {};
};

struct Tile {
    std::string decoder = {};
    int column = 0;
    int row = 0;
};

/// Sizes are pixels of the whole picture.
struct Wall {
    std::string name = {};
    std::string encoder = {};
    int columns = 1;
    int rows = 1;
    int width = 1;
    int height = 1;
    int bezelHorizontal = 0;
    int bezelVertical = 0;
    std::vector<Tile> tiles = {};
};

/// Where the picture of a tile begins.
struct TileOffset {
    std::int64_t x = 0;
    std::int64_t y = 0;
};
TileOffset Wall_offset(const Wall& wall, const Tile& tile);

enum class JobState { kQueued, kRunning, kDone, kFailed, kCancelled };
enum class JobDeviceState { kQueued, kUploading, kRestarting, kConfirmed, kFailed };

struct JobDevice {
    std::string id = {};
    JobDeviceState state = JobDeviceState::kQueued;
    std::string versionBefore = {};
    std::string versionAfter = {};
    std::string problem = {};
};

/// The installation of an image on devices.
struct Job {
    std::string id = {};
    std::string image = {};
    JobState state = JobState::kQueued;
    std::string problem = {};
    std::vector<JobDevice> devices = {};
};

/// Whether nothing is to come any more.
bool Job_isOver(const Job& job);

std::string_view JobState_name(JobState state);
std::string_view JobDeviceState_name(JobDeviceState state);
std::optional<JobState> JobState_find(std::string_view name);
std::optional<JobDeviceState> JobDeviceState_find(std::string_view name);

}  // namespace avoip::gw
