// A firmware image as it comes in over a TCP stream, in chunks:
//
//   stream = chunk, { chunk }
//   chunk  = "$", kind, length (2 bytes, little-endian), length bytes of the image
//   kind   = "E"   the only chunk, 1 to 4096 bytes
//          | "A"   the first of several, 4096 bytes
//          | "B"   one of several in between, 4096 bytes
//          | "D"   the last of several, 1 to 4096 bytes
//
// The image is not held in memory: only its info block is, and where asked the image goes to a
// file. The info block is looked for at its place, and where the image is too short for that, at
// the start, where the images of --make-image carry a copy.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "lib/image/image.hpp"

namespace avoip::sim {

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

enum class ImageStreamState : std::uint8_t { kReceiving, kComplete, kWrong };

struct ImageStream {
    ImageStreamState state = ImageStreamState::kReceiving;
    std::string problem;                         ///< Why it is wrong.
    std::uint64_t imageSize = 0;                 ///< Bytes of the image that have come.
    std::unique_ptr<std::FILE, FileClose> file;  ///< Where the image goes; may be null.

    std::array<unsigned char, 4> header{};
    std::size_t headerSize = 0;  ///< Bytes of the header that have come.
    std::size_t chunkLeft = 0;   ///< Bytes of the chunk that have not.
    char lastKind = 0;           ///< 0 before the first chunk.
    std::array<unsigned char, kInfoBlockSize> start{};
    std::array<unsigned char, kInfoBlockSize> infoBlock{};
};

/// Takes the next bytes of the stream.
void ImageStream_take(ImageStream& stream, std::span<const unsigned char> bytes);

/// The info block of a complete image; nothing when it carries none.
std::optional<FirmwareInfoBlock> ImageStream_info(const ImageStream& stream);

/// "1.2.6".
std::string ImageStream_version(const FirmwareInfoBlock& info);

}  // namespace avoip::sim
