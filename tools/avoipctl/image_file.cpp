#include "avoipctl/image_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "avoipctl/table.hpp"
#include "lib/base/descriptor.hpp"

namespace avoip::ctl {
namespace {

bool nameHolds(const ImageFile& image, std::string_view text) {
    return std::string_view(image.block.name.data()).find(text) != std::string_view::npos;
}

std::string takers(const ImageFile& image) {
    if (ImageFile_isForEncoders(image)) {
        return ImageFile_isForDecoders(image) ? "encoders and decoders" : "encoders";
    }
    return ImageFile_isForDecoders(image) ? "decoders" : "nothing: its name has neither TX nor RX";
}

std::string sizeText(const ImageFile& image) {
    std::string text = std::to_string(image.block.size) + " bytes";
    if (image.block.size > image.fileSize) {
        text += ", more than the file has: the rest is sent as zeros";
    }
    return text;
}

}  // namespace

ImageFile ImageFile_read(const std::string& path) {
    ImageFile image;
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat facts {};
    if (!file.isOpen() || ::fstat(file.get(), &facts) != 0) {
        image.trouble = std::generic_category().message(errno);
    } else if (!S_ISREG(facts.st_mode)) {
        image.trouble = "it is no regular file";
    } else {
        image.block = Image_read(file.get());
        image.fileSize = facts.st_size;
        if (image.block.magic != kImageMagic) {
            image.trouble = "it has no info block at offset 0xFF0000, so it is no firmware image";
        } else if (image.block.size < 0) {
            image.trouble = "its info block gives a negative size";
        }
    }
    return image;
}

bool ImageFile_isForEncoders(const ImageFile& image) {
    return nameHolds(image, "TX");
}

bool ImageFile_isForDecoders(const ImageFile& image) {
    return nameHolds(image, "RX");
}

std::string ImageFile_version(const ImageFile& image) {
    const auto& version = image.block.version;
    return "V" + std::to_string(version[0]) + "." + std::to_string(version[1]) + "." +
           std::to_string(version[2]);
}

std::string ImageFile_print(const ImageFile& image) {
    const std::vector<std::string> lines[] = {
        {"name", image.block.name.data()},
        {"version", ImageFile_version(image)},
        {"size", sizeText(image)},
        {"for", takers(image)},
    };
    return Table_print({}, lines);
}

}  // namespace avoip::ctl
