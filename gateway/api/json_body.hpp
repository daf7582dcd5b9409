// The text of a body, before its members are looked at: strictly one JSON object.
#pragma once

#include <string_view>

#include "lib/base/json.hpp"

namespace avoip::gw {

/// The deepest that arrays and objects may stand in each other.
inline constexpr int kBodyDepthMax = 16;

/// Parses a body; an empty one is an empty object when it `mayBeMissing`. Throws a Problem: 400 for
/// what is no JSON or has a member twice, 422 for what is no object or holds a text with a NUL.
Json Body_parse(std::string_view text, bool mayBeMissing = false);

}  // namespace avoip::gw
