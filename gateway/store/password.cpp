#include "gateway/store/password.hpp"

#include <crypt.h>

#include <array>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "gateway/base/secret.hpp"

namespace avoip::gw {
namespace {

// What a hash of yescrypt begins with.
constexpr const char* kYescrypt = "$y$";

std::string crypted(const std::string& password, const std::string& setting) {
    static std::mutex oneAtATime;
    const std::lock_guard lock(oneAtATime);
    const auto data = std::make_unique<crypt_data>();
    const char* const hash = ::crypt_r(password.c_str(), setting.c_str(), data.get());
    return hash == nullptr || hash[0] == '*' ? "" : hash;
}

std::string newSetting() {
    std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting{};
    if (::crypt_gensalt_rn(kYescrypt, 0, nullptr, 0, setting.data(),
                           static_cast<int>(setting.size())) == nullptr) {
        throw std::runtime_error("the system's crypt knows no yescrypt");
    }
    return setting.data();
}

}  // namespace

std::string Password_problem(std::string_view password) {
    if (password.empty() || password.size() >= CRYPT_MAX_PASSPHRASE_SIZE) {
        return "must be 1 to " + std::to_string(CRYPT_MAX_PASSPHRASE_SIZE - 1) + " bytes long";
    }
    return password.find('\0') == std::string_view::npos ? "" : "must not hold a NUL";
}

std::string Password_hash(const std::string& password) {
    std::string hash = crypted(password, newSetting());
    if (hash.empty()) {
        throw std::runtime_error("the system's crypt made no hash of the password");
    }
    return hash;
}

bool Password_matches(const std::string& password, const std::string& hash) {
    if (hash.empty()) {
        crypted(password, newSetting());
        return false;
    }
    return Secret_equal(crypted(password, hash), hash);
}

}  // namespace avoip::gw
