#include "lib/image/image.hpp"

#include <unistd.h>

#include <algorithm>

namespace avoip {

namespace {

constexpr std::size_t kVersionAt = 4;
constexpr std::size_t kNameAt = 40;
constexpr std::size_t kSizeAt = 104;

std::uint32_t littleEndian(std::span<const unsigned char, 4> bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void putLittleEndian(std::uint32_t value, std::span<unsigned char, 4> bytes) {
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(value);
        value >>= 8;
    }
}

}  // namespace

FirmwareInfoBlock Image_decode(std::span<const unsigned char, kInfoBlockSize> bytes) {
    FirmwareInfoBlock block{};
    block.magic = littleEndian(bytes.first<4>());
    std::reverse_copy(bytes.begin() + kVersionAt, bytes.begin() + kVersionAt + 3,
                      block.version.begin());
    std::copy_n(bytes.begin() + kNameAt, kImageNameSize, block.name.begin());
    block.size = static_cast<std::int32_t>(littleEndian(bytes.subspan<kSizeAt, 4>()));
    return block;
}

std::array<unsigned char, kInfoBlockSize> Image_encode(const FirmwareInfoBlock& block) {
    std::array<unsigned char, kInfoBlockSize> bytes{};
    const std::span<unsigned char, kInfoBlockSize> all(bytes);
    putLittleEndian(block.magic, all.first<4>());
    std::reverse_copy(block.version.begin(), block.version.end(), bytes.begin() + kVersionAt);
    std::copy_n(block.name.begin(), kImageNameSize, bytes.begin() + kNameAt);
    putLittleEndian(static_cast<std::uint32_t>(block.size), all.subspan<kSizeAt, 4>());
    return bytes;
}

FirmwareInfoBlock Image_read(int descriptor) {
    std::array<unsigned char, kInfoBlockSize> bytes{};
    [[maybe_unused]] const ssize_t got =
        ::pread(descriptor, bytes.data(), bytes.size(), kInfoBlockOffset);
    return Image_decode(bytes);
}

}  // namespace avoip
