#include "avoipguard/escape.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace avoip::guard {

namespace {

struct Character {
    std::size_t length;  ///< in bytes; 1 for a byte that begins none
    char32_t code;       ///< 0 for such a byte
};

/// The character that the text begins with. Only the shortest form of one counts.
Character firstOf(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return {1, first};
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    char32_t code = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= text.size() || (byte(i) & 0xC0U) != 0x80) {
            return {1, 0};
        }
        code = code << 6U | (byte(i) & 0x3FU);
    }
    const bool valid = first >= 0xC2 && first <= 0xF4 && code >= kLeast[length] &&
                       code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return valid ? Character{length, code} : Character{1, 0};
}

bool isHarmless(char32_t code) {
    constexpr std::array<std::array<char32_t, 2>, 6> kHarmful{{
        {0, 0x1F},
        {0x7F, 0x9F},
        {0x61C, 0x61C},
        {0x200E, 0x200F},
        {0x2028, 0x202E},
        {0x2066, 0x2069},
    }};
    return std::ranges::none_of(
        kHarmful, [&](const auto& range) { return code >= range[0] && code <= range[1]; });
}

}  // namespace

std::string Escape_line(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const Character character = firstOf(text);
        const std::string_view bytes = text.substr(0, character.length);
        if (isHarmless(character.code)) {
            result += bytes;
        } else {
            for (const char byte : bytes) {
                std::array<char, 8> escape{};
                std::snprintf(escape.data(), escape.size(), "\\x%02X",
                              unsigned{static_cast<unsigned char>(byte)});
                result += escape.data();
            }
        }
        text.remove_prefix(bytes.size());
    }
    return result;
}

}  // namespace avoip::guard
