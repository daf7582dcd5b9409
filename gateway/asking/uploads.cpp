#include "gateway/asking/uploads.hpp"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

#include "lib/frontend/sockets.hpp"

namespace avoip::gw {

namespace {

constexpr std::size_t kUploadsMax = 1'024;

}  // namespace

std::uint32_t Uploads_address(const std::string& text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 ? address.s_addr : 0;
}

bool Uploads_to(std::uint32_t address) {
    std::array<UploadConnection, kUploadsMax> uploads;
    const std::size_t count = Sockets_uploads(uploads.data(), uploads.size());
    return std::any_of(uploads.begin(), uploads.begin() + count,
                       [&](const UploadConnection& upload) { return upload.address == address; });
}

}  // namespace avoip::gw
