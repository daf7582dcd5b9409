// Reads what the supervisor has set down.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "lib/health/health.hpp"

namespace avoip {

/// The health that a text says; nothing when it is not such a text.
std::optional<Health> Health_read(std::string_view text);

/// The health in the state folder; nothing when no supervisor keeps it, or it cannot be read.
std::optional<Health> Health_readFolder(const std::string& folder);

}  // namespace avoip
