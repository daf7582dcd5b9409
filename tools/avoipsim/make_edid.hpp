// The EDID of a simulated screen: a base block and a CTA-861 extension block, 256 bytes, as a full
// HD display would report them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace avoip::sim {

inline constexpr std::size_t kEdidBlockSize = 128;
using Edid = std::array<std::uint8_t, 2 * kEdidBlockSize>;

/// An EDID with the given display name (at most 13 characters are kept) and serial number.
Edid MakeEdid_screen(std::string_view name, std::uint32_t serial);

}  // namespace avoip::sim
