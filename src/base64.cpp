#include "base64.hpp"

// The decoder's assertions are alive in every build type.
#undef NDEBUG
#include <array>
#include <cassert>
#include <string_view>

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Every character's position in the alphabet; 0 for those that are not in it.
constexpr auto kPositions = []() {
    std::array<unsigned char, 256> positions{};
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        positions[static_cast<unsigned char>(kAlphabet[i])] = static_cast<unsigned char>(i);
    }
    return positions;
}();

unsigned position(char character) {
    return kPositions[static_cast<unsigned char>(character)];
}

/// The three bytes of four characters, in the low 24 bits.
unsigned groupOf(const char* text) {
    return position(text[0]) << 18 | position(text[1]) << 12 | position(text[2]) << 6 |
           position(text[3]);
}

}  // namespace

int base64_encode(char* text, const unsigned char* data, int count) {
    int written = 0;
    for (int i = 0; i < count; i += 3) {
        const int present = count - i < 3 ? count - i : 3;
        const unsigned group = static_cast<unsigned>(data[i]) << 16 |
                               (present > 1 ? static_cast<unsigned>(data[i + 1]) << 8 : 0) |
                               (present > 2 ? static_cast<unsigned>(data[i + 2]) : 0);
        text[written++] = kAlphabet[group >> 18];
        text[written++] = kAlphabet[group >> 12 & 63];
        text[written++] = present > 1 ? kAlphabet[group >> 6 & 63] : '=';
        text[written++] = present > 2 ? kAlphabet[group & 63] : '=';
    }
    return written;
}

int base64_decode(unsigned char* out, const char* text, int bytes) {
    assert(0 == bytes % 4);
    if (bytes <= 0) {
        return 0;
    }
    int written = 0;
    int j = 0;
    for (; j < bytes - 4; j += 4) {
        const unsigned group = groupOf(text + j);
        out[written++] = static_cast<unsigned char>(group >> 16);
        out[written++] = static_cast<unsigned char>(group >> 8);
        out[written++] = static_cast<unsigned char>(group);
    }
    // clang-format off
    assert(j+4 == bytes);
    // clang-format on
    const unsigned group = groupOf(text + j);
    out[written++] = static_cast<unsigned char>(group >> 16);
    if (text[j + 2] != '=') {
        out[written++] = static_cast<unsigned char>(group >> 8);
    }
    if (text[j + 3] != '=') {
        out[written++] = static_cast<unsigned char>(group);
    }
    return written;
}
