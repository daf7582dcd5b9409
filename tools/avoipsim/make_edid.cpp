// The base block, by offset: 0 header, 8 manufacturer, product and serial number, 18 version,
// 20 basic parameters, 25 colours, 35 established and standard timings, 54 four descriptors of 18
// bytes (preferred mode, range limits, name, dummy), 126 number of extensions, 127 checksum.
#include "avoipsim/make_edid.hpp"

#include <algorithm>
#include <numeric>
#include <span>

namespace avoip::sim {
namespace {

constexpr std::size_t kDescriptorSize = 18;
constexpr std::size_t kFirstDescriptor = 54;
constexpr std::size_t kNameLength = 13;

void put(std::span<std::uint8_t> block, std::size_t offset,
         std::initializer_list<std::uint8_t> bytes) {
    std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(offset));
}

constexpr std::size_t descriptor(std::size_t number) {
    return kFirstDescriptor + number * kDescriptorSize;
}

/// The last byte makes the sum of all bytes of a block a multiple of 256.
void close(std::span<std::uint8_t> block) {
    const int sum = std::accumulate(block.begin(), block.end() - 1, 0);
    block.back() = static_cast<std::uint8_t>(-sum);
}

void putName(std::span<std::uint8_t> block, std::size_t offset, std::string_view name) {
    put(block, offset, {0, 0, 0, 0xFC, 0});
    name = name.substr(0, kNameLength);
    // A name shorter than its field ends with a line feed and is filled with blanks.
    std::fill_n(block.begin() + static_cast<std::ptrdiff_t>(offset + 5), kNameLength, ' ');
    std::copy(name.begin(), name.end(), block.begin() + static_cast<std::ptrdiff_t>(offset + 5));
    if (name.size() < kNameLength) {
        block[offset + 5 + name.size()] = '\n';
    }
}

/// 1920x1080 at 60 Hz, 148.5 MHz, on a screen of 598 by 336 mm.
void putPreferredMode(std::span<std::uint8_t> block, std::size_t offset) {
    put(block, offset,
        {0x02, 0x3A, 0x80, 0x18, 0x71, 0x38, 0x2D, 0x40, 0x58, 0x2C, 0x45, 0x00, 0x56, 0x50, 0x21,
         0x00, 0x00, 0x1E});
}

void fillBase(std::span<std::uint8_t> block, std::string_view name, std::uint32_t serial) {
    put(block, 0, {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});
    // Manufacturer "SIM", three letters of five bits each; product 1.
    put(block, 8, {0x4D, 0x2D, 0x01, 0x00});
    for (std::size_t i = 0; i < 4; ++i) {
        block[12 + i] = static_cast<std::uint8_t>(serial >> (8 * i));
    }
    put(block, 16, {1, 33, 1, 3});              // week 1 of 2023, EDID 1.3
    put(block, 20, {0x80, 60, 34, 120, 0x2E});  // digital, 60 by 34 cm, gamma 2.2, sRGB
    put(block, 25, {0xEE, 0x91, 0xA3, 0x54, 0x4C, 0x99, 0x26, 0x0F, 0x50, 0x54});  // sRGB
    put(block, 35, {0x21, 0x08, 0x00});  // 640x480, 800x600 and 1024x768 at 60 Hz
    std::fill_n(block.begin() + 38, 16, std::uint8_t{0x01});  // no standard timing
    putPreferredMode(block, descriptor(0));
    // Ranges: 50 to 75 Hz, 30 to 83 kHz, 170 MHz.
    put(block, descriptor(1),
        {0, 0, 0, 0xFD, 0, 50, 75, 30, 83, 17, 0, 0x0A, 0x20, 0x20, 0x20, 0x20, 0x20, 0x20});
    putName(block, descriptor(2), name);
    put(block, descriptor(3), {0, 0, 0, 0x10, 0});
    block[126] = 1;
    close(block);
}

void fillExtension(std::span<std::uint8_t> block) {
    constexpr std::uint8_t kTimingsAt = 19;
    put(block, 0, {0x02, 0x03, kTimingsAt, 0xC1});  // CTA-861 revision 3, underscan, basic audio
    put(block, 4, {0x43, 0x90, 0x04, 0x03});        // 1080p60, 720p60, 480p60
    put(block, 8, {0x23, 0x09, 0x07, 0x07});        // PCM, two channels
    put(block, 12, {0x83, 0x01, 0x00, 0x00});       // front speakers
    put(block, 16, {0xE2, 0x00, 0x4F});             // video capability
    putPreferredMode(block, kTimingsAt);
    close(block);
}

}  // namespace

Edid MakeEdid_screen(std::string_view name, std::uint32_t serial) {
    Edid edid{};
    const std::span<std::uint8_t> bytes(edid);
    fillBase(bytes.first(kEdidBlockSize), name, serial);
    fillExtension(bytes.last(kEdidBlockSize));
    return edid;
}

}  // namespace avoip::sim
