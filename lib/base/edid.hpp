// EDID blocks: the few facts that people look for.
//
// Of the first block (128 bytes) this reads: bytes 8-9 the manufacturer (three letters of five
// bits, big-endian), 10-11 the product code, 12-15 the serial number, 16-17 week and year, and from
// 54 on four descriptors of 18 bytes: timings (the first is the preferred mode) or texts. For
// everything else there is edid-decode.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace avoip {

struct EdidFacts {
    std::string manufacturer;   ///< three letters, such as "DEL"
    std::string product;        ///< product code and, where there is one, the name
    std::string serial;         ///< serial number and, where there is one, the serial text
    std::string made;           ///< year, and week where it is given
    std::string preferredMode;  ///< such as "1920x1080 at 60.00 Hz", empty when there is none
    bool checksumIsRight;
};

/// The bytes that hexadecimal digits stand for; none when the text is not of such digits in pairs.
std::vector<std::uint8_t> Edid_bytes(std::string_view hex);

/// Reads the facts of an EDID; false when the bytes do not begin with a whole first block.
bool Edid_read(std::span<const std::uint8_t> bytes, EdidFacts& facts);

/// The upper-case digits that stand for bytes, as the daemon writes them.
std::string Edid_hex(std::span<const std::uint8_t> bytes);

}  // namespace avoip
