#include "gateway/state/resources.hpp"

#include <algorithm>

namespace avoip::gw {

namespace {

constexpr std::array<std::string_view, 5> kJobStates{"queued", "running", "done", "failed",
                                                     "cancelled"};
constexpr std::array<std::string_view, 5> kDeviceStates{"queued", "uploading", "restarting",
                                                        "confirmed", "failed"};

template <class State>
std::optional<State> findIn(const std::array<std::string_view, 5>& names, std::string_view name) {
    const auto* const found = std::ranges::find(names, name);
    return found == names.end() ? std::nullopt
                                : std::optional(static_cast<State>(found - names.begin()));
}

}  // namespace

TileOffset Wall_offset(const Wall& wall, const Tile& tile) {
    return {std::int64_t{tile.column} * wall.width / wall.columns,
            std::int64_t{tile.row} * wall.height / wall.rows};
}

bool Job_isOver(const Job& job) {
    return job.state != JobState::kQueued && job.state != JobState::kRunning;
}

std::string_view JobState_name(JobState state) {
    return kJobStates.at(static_cast<std::size_t>(state));
}

std::string_view JobDeviceState_name(JobDeviceState state) {
    return kDeviceStates.at(static_cast<std::size_t>(state));
}

std::optional<JobState> JobState_find(std::string_view name) {
    return findIn<JobState>(kJobStates, name);
}

std::optional<JobDeviceState> JobDeviceState_find(std::string_view name) {
    return findIn<JobDeviceState>(kDeviceStates, name);
}

}  // namespace avoip::gw
