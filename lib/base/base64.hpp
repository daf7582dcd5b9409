// Base64 (RFC 4648) between bytes and the text that carries them inside JSON. Strict, other than
// the daemon's own, whose oddities are kept.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip {

std::string Base64_encode(std::span<const std::uint8_t> bytes);

/// Nothing when `text` is not whole groups of four characters of the alphabet, filled with "=".
std::optional<std::vector<std::uint8_t>> Base64_decode(std::string_view text);

}  // namespace avoip
