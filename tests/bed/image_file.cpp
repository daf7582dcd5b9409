#include "bed/image_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "bed/wait.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

namespace {

constexpr std::int64_t kFilledSize = 65536;
constexpr std::int64_t kMarkDistance = 65536;

void write(const avoip::Descriptor& file, const std::string& bytes, std::int64_t offset) {
    if (::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)) !=
        static_cast<ssize_t>(bytes.size())) {
        throwSystemError("cannot write an image file");
    }
}

std::string imageBlock(const ImageFileOptions& options) {
    std::string block(static_cast<std::size_t>(kImageBlockSize), '\xEE');
    block.replace(0, 4, options.magic);
    block.replace(4, 3, options.version);
    std::string name = options.name;
    name.resize(64, '\0');
    block.replace(40, 64, name);
    for (std::size_t i = 0; i < 4; ++i) {
        block[104 + i] = static_cast<char>(static_cast<std::uint32_t>(options.size) >> (8 * i));
    }
    return block;
}

/// All values of a byte, in an order that begins anew after 251 bytes, so that no two of the chunks
/// it is cut into are alike.
std::string filling() {
    std::string bytes;
    for (std::int64_t i = 0; i < kFilledSize; ++i) {
        bytes.push_back(static_cast<char>(i % 251 + i / 251));
    }
    return bytes;
}

}  // namespace

ImageFile::ImageFile(const ImageFileOptions& options)
    : options_(options), path_(std::filesystem::temp_directory_path() / "image-XXXXXX") {
    const avoip::Descriptor file(::mkostemp(path_.data(), O_CLOEXEC));
    if (file.get() < 0) {
        throwSystemError("cannot make an image file");
    }
    write(file, filling(), 0);
    for (std::int64_t mark = kFilledSize; mark < kWholeImage; mark += kMarkDistance) {
        write(file, "mark " + std::to_string(mark), mark);
    }
    write(file, imageBlock(options), kImageBlockOffset);
    if (::ftruncate(file.get(), static_cast<off_t>(options.fileSize)) != 0) {
        throwSystemError("cannot set the size of an image file");
    }
}

ImageFile::~ImageFile() {
    ::unlink(path_.c_str());
}

std::string ImageFile::payload() const {
    const avoip::Descriptor file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC));
    std::string bytes(static_cast<std::size_t>(options_.size), '\0');
    std::size_t read = 0;
    while (read < bytes.size()) {
        const ssize_t got =
            ::pread(file.get(), bytes.data() + read, bytes.size() - read, static_cast<off_t>(read));
        if (got < 0) {
            throwSystemError("cannot read an image file");
        }
        if (got == 0) {
            break;
        }
        read += static_cast<std::size_t>(got);
    }
    return bytes;
}

std::string ImageFile::description() const {
    const auto number = [this](std::size_t i) {
        return std::to_string(static_cast<unsigned char>(options_.version[i]));
    };
    return "### Firmware Update Image Info: ###\n"
           "Firmware name   : " +
           options_.name + "\nFirmware version: V" + number(2) + "." + number(1) + "." + number(0) +
           "\nFirmware size   :" + std::to_string(options_.size) + "\n";
}

}  // namespace bed
