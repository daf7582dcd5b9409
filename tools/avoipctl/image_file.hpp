// A firmware image file as avoipctl looks at it: what its info block says, and whether the daemon
// would take it.
#pragma once

#include <string>

#include "lib/image/image.hpp"

namespace avoip::ctl {

struct ImageFile {
    std::string trouble;        ///< why it cannot be used at all, empty when it can
    FirmwareInfoBlock block{};  ///< only without trouble
    long long fileSize = 0;
};

/// Reads the image at `path`. Trouble is: the file cannot be read, has no info block, or has a
/// negative size in it.
ImageFile ImageFile_read(const std::string& path);

/// Whether encoders, or decoders, take the image: its name holds "TX", or "RX".
bool ImageFile_isForEncoders(const ImageFile& image);
bool ImageFile_isForDecoders(const ImageFile& image);

/// The version as the daemon writes it: "V1.2.6".
std::string ImageFile_version(const ImageFile& image);

/// What there is to say about an image without trouble, one fact a line.
std::string ImageFile_print(const ImageFile& image);

}  // namespace avoip::ctl
