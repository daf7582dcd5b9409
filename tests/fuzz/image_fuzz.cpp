// The info block of a firmware image: the input stands where an image file has it. Nobody listens
// for the upload.
#include "lib/image/image.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "firmware/upload.hpp"
#include "fuzz/fuzz.hpp"
#include "fuzz/private_network.hpp"

namespace {

int image = -1;
std::string imagePath;

void writeImage(const std::uint8_t* data, std::size_t size) {
    fuzz::require(
        ::ftruncate(image, 0) == 0 &&
            ::pwrite(image, data, size, avoip::kInfoBlockOffset) == static_cast<ssize_t>(size),
        "the image can be written");
}

bool operator==(const avoip::FirmwareInfoBlock& left, const avoip::FirmwareInfoBlock& right) {
    return left.magic == right.magic && left.version == right.version && left.name == right.name &&
           left.size == right.size;
}

}  // namespace

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzz::enterPrivateNetwork();
    image = ::memfd_create("image", MFD_CLOEXEC);
    imagePath = "/proc/self/fd/" + std::to_string(image);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeImage(data, size);
    const avoip::FirmwareInfoBlock block = avoip::Image_read(image);
    fuzz::require(::strnlen(block.name.data(), block.name.size()) <= avoip::kImageNameSize,
                  "the name is terminated");
    fuzz::require(avoip::Image_decode(avoip::Image_encode(block)) == block,
                  "a block that is written comes back");

    // An upload that fails leaves the file open on purpose.
    const int firstFree = ::fcntl(image, F_DUPFD_CLOEXEC, 0);
    Main_update_encoder(nullptr, "127.0.0.1", imagePath.c_str(), true);
    Main_update_decoder(nullptr, "127.0.0.1", imagePath.c_str(), true);
    ::close_range(static_cast<unsigned>(firstFree), ~0U, 0);
    return 0;
}
