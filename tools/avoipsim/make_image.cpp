#include "avoipsim/make_image.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <vector>

#include "lib/image/image.hpp"

namespace avoip::sim {
namespace {

constexpr std::size_t kPieceSize = 65536;

// Of a length that shares no factor with the chunk size, so that no two chunks are alike.
constexpr std::uint32_t kPatternLength = 4093;

void writePattern(std::ofstream& file, std::uint32_t size) {
    std::vector<char> piece(kPieceSize);
    for (std::uint32_t offset = 0; offset < size; offset += kPieceSize) {
        for (std::uint32_t i = 0; i < kPieceSize; ++i) {
            const std::uint32_t place = offset + i;
            piece[i] = static_cast<char>(place % kPatternLength + place / kPatternLength);
        }
        const std::size_t length = std::min<std::size_t>(kPieceSize, size - offset);
        file.write(piece.data(), static_cast<std::streamsize>(length));
    }
}

}  // namespace

std::optional<std::array<std::uint8_t, 3>> MakeImage_version(const std::string& text) {
    std::array<std::uint8_t, 3> numbers{};
    const char* place = text.data();
    const char* end = text.data() + text.size();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto result = std::from_chars(place, end, numbers[i]);
        const bool last = i + 1 == numbers.size();
        const bool right = last ? result.ptr == end : result.ptr != end && *result.ptr == '.';
        if (result.ec != std::errc() || !right) {
            return std::nullopt;
        }
        place = result.ptr + (last ? 0 : 1);
    }
    return numbers;
}

bool MakeImage_write(const ImageOptions& options, std::string& problem) {
    FirmwareInfoBlock info{};
    info.magic = kImageMagic;
    info.version = MakeImage_version(options.version).value_or(std::array<std::uint8_t, 3>{});
    std::copy_n(options.name.begin(), std::min(options.name.size(), kImageNameSize),
                info.name.begin());
    info.size = options.size;
    const auto block = Image_encode(info);
    const auto* bytes = reinterpret_cast<const char*>(block.data());
    std::ofstream file(options.path, std::ios::binary | std::ios::trunc);
    writePattern(file, static_cast<std::uint32_t>(options.size));
    file.seekp(kInfoBlockOffset);
    file.write(bytes, block.size());
    if (static_cast<std::size_t>(options.size) >= block.size()) {
        file.seekp(0);
        file.write(bytes, block.size());
    }
    file.close();
    if (!file) {
        problem = "image " + options.path + " cannot be written: " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace avoip::sim
