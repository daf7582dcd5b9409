#include "lib/base/base64.hpp"

#include <cstddef>

namespace avoip {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string Base64_encode(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (i + k < bytes.size() ? bytes[i + k] : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            const bool filled = i + k <= bytes.size();
            text += filled ? kAlphabet[group >> (18 - 6 * k) & 0x3F] : '=';
        }
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> Base64_decode(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    for (int fill = 0; fill < 2 && text.ends_with('='); ++fill) {
        text.remove_suffix(1);
    }
    std::vector<std::uint8_t> bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char character : text) {
        const std::size_t value = kAlphabet.find(character);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> count));
        }
    }
    return bytes;
}

}  // namespace avoip
