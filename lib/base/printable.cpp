#include "lib/base/printable.hpp"

#include <cstdint>
#include <cstdio>

namespace avoip {

namespace {

constexpr std::uint32_t kNoCharacter = 0xFFFD;

struct Character {
    std::uint32_t code;
    std::string_view bytes;
    bool valid;
};

/// How many bytes a character has whose first byte this is; 0 for one that begins none.
std::size_t lengthOf(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

/// Takes one character off the front of a text, or one byte that belongs to none.
Character takeCharacter(std::string_view& text) {
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t length = lengthOf(byte(0));
    bool valid = length > 0 && length <= text.size();
    std::uint32_t code = length < 2 ? byte(0) : byte(0) & (0x7FU >> length);
    for (std::size_t i = 1; valid && i < length; ++i) {
        valid = (byte(i) & 0xC0U) == 0x80;
        code = code << 6 | (byte(i) & 0x3FU);
    }
    valid = valid && code >= kLeast[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    const std::string_view bytes = text.substr(0, valid ? length : 1);
    text.remove_prefix(bytes.size());
    return {valid ? code : kNoCharacter, bytes, valid};
}

/// Control characters, those that embed or override a direction, and the two separators that begin
/// a line.
bool isUnfit(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x61C || code == 0x200E ||
           code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

}  // namespace

std::string Printable_text(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const Character character = takeCharacter(text);
        if (!character.valid || isUnfit(character.code)) {
            out += '?';
        } else {
            out += character.bytes;
        }
    }
    return out;
}

std::string Printable_json(std::string_view json) {
    std::string out;
    while (!json.empty()) {
        const Character character = takeCharacter(json);
        // None of them stands outside of a JSON text's strings but line ends, which need no escape.
        const bool lineEnd = character.code == '\n' || character.code == '\r';
        if ((character.valid && !isUnfit(character.code)) || lineEnd) {
            out += character.bytes;
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character.code));
        out += escape;
    }
    return out;
}

}  // namespace avoip
