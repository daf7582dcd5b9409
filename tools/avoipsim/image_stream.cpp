#include "avoipsim/image_stream.hpp"

#include <algorithm>
#include <string_view>

namespace avoip::sim {
namespace {

constexpr std::size_t kChunkSize = 4096;

void refuse(ImageStream& stream, const std::string& problem) {
    stream.state = ImageStreamState::kWrong;
    stream.problem = problem;
}

/// Copies what of `bytes`, which stand at `offset` of the image, falls into the window that begins
/// at `windowOffset`.
void copyWindow(std::span<const unsigned char> bytes, std::uint64_t offset,
                std::uint64_t windowOffset, std::span<unsigned char> window) {
    const std::uint64_t begin = std::max(offset, windowOffset);
    const std::uint64_t end = std::min(offset + bytes.size(), windowOffset + window.size());
    if (begin < end) {
        // Each of these lies within one of the pieces.
        const auto from = static_cast<std::size_t>(begin - offset);
        const auto to = static_cast<std::size_t>(begin - windowOffset);
        const auto part = bytes.subspan(from, static_cast<std::size_t>(end - begin));
        std::copy(part.begin(), part.end(), window.subspan(to).begin());
    }
}

void takeHeader(ImageStream& stream) {
    const auto kind = static_cast<char>(stream.header[1]);
    const std::size_t length = stream.header[2] | static_cast<std::size_t>(stream.header[3]) << 8;
    const bool first = stream.lastKind == 0;
    if (stream.header[0] != '$') {
        return refuse(stream, "a chunk does not begin with $");
    }
    if (std::string_view(first ? "AE" : "BD").find(kind) == std::string_view::npos) {
        return refuse(stream, std::string("a chunk of kind ") + kind + " where none may be");
    }
    const bool whole = kind == 'A' || kind == 'B';
    if (length == 0 || length > kChunkSize || (whole && length != kChunkSize)) {
        return refuse(stream, std::string("a chunk of kind ") + kind + " with " +
                                  std::to_string(length) + " bytes");
    }
    stream.lastKind = kind;
    stream.chunkLeft = length;
}

void takeImage(ImageStream& stream, std::span<const unsigned char> bytes) {
    copyWindow(bytes, stream.imageSize, 0, stream.start);
    copyWindow(bytes, stream.imageSize, kInfoBlockOffset, stream.infoBlock);
    if (stream.file != nullptr &&
        std::fwrite(bytes.data(), 1, bytes.size(), stream.file.get()) != bytes.size()) {
        return refuse(stream, "the image cannot be stored");
    }
    stream.imageSize += bytes.size();
    stream.chunkLeft -= bytes.size();
    if (stream.chunkLeft == 0) {
        stream.headerSize = 0;
        const bool last = stream.lastKind == 'D' || stream.lastKind == 'E';
        stream.state = last ? ImageStreamState::kComplete : ImageStreamState::kReceiving;
    }
}

}  // namespace

void ImageStream_take(ImageStream& stream, std::span<const unsigned char> bytes) {
    while (!bytes.empty() && stream.state == ImageStreamState::kReceiving) {
        std::size_t taken = 0;
        if (stream.chunkLeft == 0) {
            taken = std::min(bytes.size(), stream.header.size() - stream.headerSize);
            std::copy_n(bytes.begin(), taken, stream.header.begin() + stream.headerSize);
            stream.headerSize += taken;
            if (stream.headerSize == stream.header.size()) {
                takeHeader(stream);
            }
        } else {
            taken = std::min(bytes.size(), stream.chunkLeft);
            takeImage(stream, bytes.first(taken));
        }
        bytes = bytes.subspan(taken);
    }
    if (!bytes.empty() && stream.state == ImageStreamState::kComplete) {
        refuse(stream, "bytes behind the last chunk");
    }
}

std::optional<FirmwareInfoBlock> ImageStream_info(const ImageStream& stream) {
    for (const auto* bytes : {&stream.infoBlock, &stream.start}) {
        const FirmwareInfoBlock info = Image_decode(*bytes);
        if (info.magic == kImageMagic) {
            return info;
        }
    }
    return std::nullopt;
}

std::string ImageStream_version(const FirmwareInfoBlock& info) {
    return std::to_string(info.version[0]) + "." + std::to_string(info.version[1]) + "." +
           std::to_string(info.version[2]);
}

}  // namespace avoip::sim
