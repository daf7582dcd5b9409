// A firmware image file for the daemon to push, made to order and gone with the object.
//
// The block that describes the image is written here byte by byte, not by the code under test.
#pragma once

#include <cstdint>
#include <string>

namespace bed {

/// Where the block stands in the file, and how long it is.
inline constexpr std::int64_t kImageBlockOffset = 0xFF0000;
inline constexpr std::int64_t kImageBlockSize = 396;
inline constexpr std::int32_t kWholeImage = 16 * 1024 * 1024;

struct ImageFileOptions {
    /// What the block says; magic and version as they stand in the file.
    std::string name = "AVOIP-TX";
    std::int32_t size = 10000;
    std::string magic = "\x56\x19\x05\x27";
    std::string version = "\x06\x02\x01";
    /// How long the file is; whatever lies behind its end is missing, the block included.
    std::int64_t fileSize = kWholeImage;
};

class ImageFile {
  public:
    explicit ImageFile(const ImageFileOptions& options = {});
    ~ImageFile();
    ImageFile(const ImageFile&) = delete;
    ImageFile& operator=(const ImageFile&) = delete;

    const std::string& path() const { return path_; }

    /// The first `size` bytes of the file, with zeros for those behind its end. No two chunks of a
    /// small image are alike; a large one has holes.
    std::string payload() const;

    /// What the daemon prints about the image before it connects.
    std::string description() const;

  private:
    ImageFileOptions options_;
    std::string path_;
};

}  // namespace bed
