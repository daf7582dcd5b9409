#include "avoipsim/upload.hpp"

#include <algorithm>
#include <string_view>

namespace avoip::sim {
namespace {

constexpr std::size_t kChunkSize = 4096;

void refuse(Upload& upload, const std::string& problem) {
    upload.state = UploadState::Wrong;
    upload.problem = problem;
}

// Copies what of `bytes`, which stand at `offset` of the image, falls into the window that begins
// at `windowOffset`.
void copyWindow(std::span<const unsigned char> bytes, std::uint64_t offset,
                std::uint64_t windowOffset, std::span<unsigned char> window) {
    const std::uint64_t begin = std::max(offset, windowOffset);
    const std::uint64_t end = std::min(offset + bytes.size(), windowOffset + window.size());
    if (begin < end) {
        const auto part = bytes.subspan(begin - offset, end - begin);
        std::copy(part.begin(), part.end(), window.subspan(begin - windowOffset).begin());
    }
}

void takeHeader(Upload& upload) {
    const auto kind = static_cast<char>(upload.header[1]);
    const std::size_t length = upload.header[2] | static_cast<std::size_t>(upload.header[3]) << 8;
    const bool first = upload.lastKind == 0;
    if (upload.header[0] != '$') {
        return refuse(upload, "a chunk does not begin with $");
    }
    if (std::string_view(first ? "AE" : "BD").find(kind) == std::string_view::npos) {
        return refuse(upload, std::string("a chunk of kind ") + kind + " where none may be");
    }
    const bool whole = kind == 'A' || kind == 'B';
    if (length == 0 || length > kChunkSize || (whole && length != kChunkSize)) {
        return refuse(upload, std::string("a chunk of kind ") + kind + " with " +
                                  std::to_string(length) + " bytes");
    }
    upload.lastKind = kind;
    upload.chunkLeft = length;
}

void takeImage(Upload& upload, std::span<const unsigned char> bytes) {
    copyWindow(bytes, upload.imageSize, 0, upload.start);
    copyWindow(bytes, upload.imageSize, kInfoBlockOffset, upload.infoBlock);
    if (upload.file != nullptr &&
        std::fwrite(bytes.data(), 1, bytes.size(), upload.file.get()) != bytes.size()) {
        return refuse(upload, "the image cannot be stored");
    }
    upload.imageSize += bytes.size();
    upload.chunkLeft -= bytes.size();
    if (upload.chunkLeft == 0) {
        upload.headerSize = 0;
        const bool last = upload.lastKind == 'D' || upload.lastKind == 'E';
        upload.state = last ? UploadState::Complete : UploadState::Receiving;
    }
}

}  // namespace

void Upload_take(Upload& upload, std::span<const unsigned char> bytes) {
    while (!bytes.empty() && upload.state == UploadState::Receiving) {
        std::size_t taken = 0;
        if (upload.chunkLeft == 0) {
            taken = std::min(bytes.size(), upload.header.size() - upload.headerSize);
            std::copy_n(bytes.begin(), taken, upload.header.begin() + upload.headerSize);
            upload.headerSize += taken;
            if (upload.headerSize == upload.header.size()) {
                takeHeader(upload);
            }
        } else {
            taken = std::min(bytes.size(), upload.chunkLeft);
            takeImage(upload, bytes.first(taken));
        }
        bytes = bytes.subspan(taken);
    }
    if (!bytes.empty() && upload.state == UploadState::Complete) {
        refuse(upload, "bytes behind the last chunk");
    }
}

std::optional<FirmwareInfoBlock> Upload_info(const Upload& upload) {
    for (const auto* bytes : {&upload.infoBlock, &upload.start}) {
        const FirmwareInfoBlock info = Image_decode(*bytes);
        if (info.magic == kImageMagic) {
            return info;
        }
    }
    return std::nullopt;
}

std::string Upload_version(const FirmwareInfoBlock& info) {
    return std::to_string(info.version[0]) + "." + std::to_string(info.version[1]) + "." +
           std::to_string(info.version[2]);
}

}  // namespace avoip::sim
