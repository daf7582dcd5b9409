// The info block of a firmware image file: 396 bytes at file offset 0xFF0000, little-endian.
//
//   offset  width  field
//        0      4  magic, 0x27051956
//        4      1  version, third number
//        5      1  version, second number
//        6      1  version, first number
//        7     33  not used
//       40     64  name, a text that ends at its first zero byte
//      104      4  size in bytes, signed: the payload is the file from offset 0 up to it
//      108    288  not used
//
// This is a library of its own: the daemon reads images with it, and so do the tools.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace avoip {

inline constexpr std::uint32_t kImageMagic = 0x27051956;
inline constexpr std::int64_t kInfoBlockOffset = 0xFF0000;
inline constexpr std::size_t kInfoBlockSize = 396;
inline constexpr std::size_t kImageNameSize = 64;

struct FirmwareInfoBlock {
    std::uint32_t magic;
    /// First, second and third number, as a version is written: 1, 2, 6 for V1.2.6.
    std::array<std::uint8_t, 3> version;
    /// At most 64 characters, terminated.
    std::array<char, kImageNameSize + 1> name;
    std::int32_t size;
};

/// Decodes an info block, whatever it holds; the magic is the caller's to test.
FirmwareInfoBlock Image_decode(std::span<const unsigned char, kInfoBlockSize> bytes);

/// Encodes an info block. The bytes that no field uses are zero.
std::array<unsigned char, kInfoBlockSize> Image_encode(const FirmwareInfoBlock& block);

/// Reads the info block of an open image file, in one read. What the file is too short for is zero,
/// so that a short file has no valid magic.
FirmwareInfoBlock Image_read(int descriptor);

}  // namespace avoip
