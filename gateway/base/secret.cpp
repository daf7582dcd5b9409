#include "gateway/base/secret.hpp"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace avoip::gw {
namespace {

constexpr std::size_t kSha256Size = 32;

std::string hex(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 15]);
    }
    return text;
}

}  // namespace

std::string Secret_random(std::size_t bytes) {
    std::vector<std::uint8_t> random(bytes);
    if (::gnutls_rnd(GNUTLS_RND_KEY, random.data(), random.size()) != 0) {
        throw std::runtime_error("the system has no random numbers");
    }
    return hex(random);
}

std::string Secret_sha256(std::string_view bytes) {
    Sha256 sum;
    sum.add(bytes);
    return sum.take();
}

bool Secret_equal(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           ::gnutls_memcmp(left.data(), right.data(), left.size()) == 0;
}

Sha256::Sha256() {
    gnutls_hash_hd_t handle = nullptr;
    if (::gnutls_hash_init(&handle, GNUTLS_DIG_SHA256) != 0) {
        throw std::runtime_error("the system has no SHA-256");
    }
    state_.reset(handle);
}

void Sha256::add(std::string_view bytes) {
    ::gnutls_hash(static_cast<gnutls_hash_hd_t>(state_.get()), bytes.data(), bytes.size());
}

std::string Sha256::take() {
    std::array<std::uint8_t, kSha256Size> digest{};
    ::gnutls_hash_output(static_cast<gnutls_hash_hd_t>(state_.get()), digest.data());
    return hex(digest);
}

void Sha256::Close::operator()(void* state) const {
    ::gnutls_hash_deinit(static_cast<gnutls_hash_hd_t>(state), nullptr);
}

}  // namespace avoip::gw
