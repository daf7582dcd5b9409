#include "lib/base/edid.hpp"

#include <array>
#include <charconv>
#include <cstdio>

namespace avoip {
namespace {

constexpr std::size_t kBlockSize = 128;
constexpr std::array<std::uint8_t, 8> kHeader{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr std::size_t kDescriptors[] = {54, 72, 90, 108};
constexpr std::size_t kDescriptorSize = 18;
constexpr std::uint8_t kNameTag = 0xFC;
constexpr std::uint8_t kSerialTag = 0xFF;

using Bytes = std::span<const std::uint8_t>;

std::string hexNumber(unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", value);
    return text;
}

std::string manufacturer(Bytes block) {
    const int code = block[8] << 8 | block[9];
    std::string letters;
    for (const int shift : {10, 5, 0}) {
        letters += static_cast<char>('A' - 1 + (code >> shift & 0x1F));
    }
    return letters;
}

/// The text of the descriptor with this tag: up to 13 characters, ended by a line feed.
std::string descriptorText(Bytes block, std::uint8_t tag) {
    for (const std::size_t offset : kDescriptors) {
        const Bytes descriptor = block.subspan(offset, kDescriptorSize);
        if (descriptor[0] == 0 && descriptor[1] == 0 && descriptor[3] == tag) {
            const std::string text(descriptor.begin() + 5, descriptor.end());
            return text.substr(0, text.find('\n'));
        }
    }
    return {};
}

/// The mode of the first descriptor, when that is a timing.
std::string preferredMode(Bytes block) {
    const Bytes timing = block.subspan(kDescriptors[0], kDescriptorSize);
    const double clock_hz = (timing[0] | timing[1] << 8) * 10000.0;
    const int width = timing[2] | (timing[4] & 0xF0) << 4;
    const int lines = timing[5] | (timing[7] & 0xF0) << 4;
    const int allWidth = width + (timing[3] | (timing[4] & 0x0F) << 8);
    const int allLines = lines + (timing[6] | (timing[7] & 0x0F) << 8);
    if (clock_hz == 0 || allWidth == 0 || allLines == 0) {
        return {};
    }
    // An interlaced mode gives the lines of one field; a field is half a line longer.
    const bool interlaced = (timing[17] & 0x80) != 0;
    const double rate_hz = clock_hz / (allWidth * (allLines + (interlaced ? 0.5 : 0.0)));
    char text[64];
    std::snprintf(text, sizeof text, "%dx%d%s at %.2f Hz", width, interlaced ? 2 * lines : lines,
                  interlaced ? " interlaced" : "", rate_hz);
    return text;
}

std::string made(Bytes block) {
    const int week = block[16];
    const std::string year = std::to_string(1990 + block[17]);
    return week >= 1 && week <= 54 ? year + ", week " + std::to_string(week) : year;
}

std::string joined(const std::string& first, const std::string& second) {
    return second.empty() ? first : first + ", " + second;
}

}  // namespace

std::vector<std::uint8_t> Edid_bytes(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        std::uint8_t byte = 0;
        const char* const end = hex.data() + i + 2;
        const auto read = std::from_chars(hex.data() + i, end, byte, 16);
        if (read.ec != std::errc{} || read.ptr != end) {
            return {};
        }
        bytes.push_back(byte);
    }
    return hex.size() % 2 == 0 ? bytes : std::vector<std::uint8_t>{};
}

bool Edid_read(std::span<const std::uint8_t> bytes, EdidFacts& facts) {
    if (bytes.size() < kBlockSize || !std::equal(kHeader.begin(), kHeader.end(), bytes.begin())) {
        return false;
    }
    const Bytes block = bytes.first(kBlockSize);
    unsigned sum = 0;
    for (const std::uint8_t byte : block) {
        sum += byte;
    }
    const unsigned product = block[10] | unsigned{block[11]} << 8;
    const std::uint32_t serial = block[12] | std::uint32_t{block[13]} << 8 |
                                 std::uint32_t{block[14]} << 16 | std::uint32_t{block[15]} << 24;
    facts.manufacturer = manufacturer(block);
    facts.product = joined(hexNumber(product), descriptorText(block, kNameTag));
    facts.serial = joined(std::to_string(serial), descriptorText(block, kSerialTag));
    facts.made = made(block);
    facts.preferredMode = preferredMode(block);
    facts.checksumIsRight = sum % 256 == 0;
    return true;
}

std::string Edid_hex(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string hex;
    for (const std::uint8_t byte : bytes) {
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 0x0F];
    }
    return hex;
}

}  // namespace avoip
