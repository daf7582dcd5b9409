// Firmware images for tests.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace avoip::sim {

struct ImageOptions {
    std::string path;  ///< Empty: no image is to be made.
    std::string name = "Video-TX-1";
    std::string version = "1.1.0";
    std::int32_t size = 16 << 20;
};

/// The three numbers of a version like "1.2.6", each from 0 to 255.
std::optional<std::array<std::uint8_t, 3>> MakeImage_version(const std::string& text);

/// Writes the image: its info block at its place, a copy of it at the start where the payload has
/// room, a pattern in the rest of the payload. False, with the reason in `problem`, when it cannot.
bool MakeImage_write(const ImageOptions& options, std::string& problem);

}  // namespace avoip::sim
