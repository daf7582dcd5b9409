// What people keep, read back from the texts that json.hpp makes of it.
#pragma once

#include <optional>
#include <string_view>

#include "gateway/state/resources.hpp"

namespace avoip::gw {

/// Nothing when the text is not such a resource.
std::optional<Preset> Preset_restore(std::string_view json);
std::optional<Lock> Lock_restore(std::string_view json);
std::optional<Room> Room_restore(std::string_view json);
std::optional<Wall> Wall_restore(std::string_view json);
std::optional<Job> Job_restore(std::string_view json);

}  // namespace avoip::gw
