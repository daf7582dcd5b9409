#include "gateway/base/text.hpp"

#include <cstdint>

namespace avoip::gw {
namespace {

constexpr std::size_t kNameMax = 64;

constexpr bool isContinuation(char byte) {
    return (static_cast<std::uint8_t>(byte) & 0xC0) == 0x80;
}

/// The control characters beyond ASCII, U+0080 to U+009F.
constexpr bool isLateControl(std::string_view character) {
    return character.size() == 2 && character[0] == '\xC2' &&
           static_cast<std::uint8_t>(character[1]) < 0xA0;
}

/// Whether the two first bytes of a long character are too small, a surrogate or too great.
constexpr bool isOutOfRange(std::uint8_t first, std::uint8_t second) {
    return (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
           (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
}

}  // namespace

std::size_t Text_characterSize(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const auto first = static_cast<std::uint8_t>(text[0]);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t size = first >= 0xC2 && first < 0xE0   ? 2
                             : first >= 0xE0 && first < 0xF0 ? 3
                             : first >= 0xF0 && first < 0xF5 ? 4
                                                             : 0;
    if (size == 0 || text.size() < size ||
        isOutOfRange(first, static_cast<std::uint8_t>(text[1]))) {
        return 0;
    }
    for (std::size_t at = 1; at < size; ++at) {
        if (!isContinuation(text[at])) {
            return 0;
        }
    }
    return size;
}

bool Text_isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t size = Text_characterSize(text);
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

std::string Text_repaired(std::string text) {
    if (Text_isUtf8(text)) {
        return text;
    }
    std::string repaired;
    for (std::string_view left = text; !left.empty();) {
        const std::size_t size = Text_characterSize(left);
        repaired.append(size == 0 ? "\xEF\xBF\xBD" : left.substr(0, size));
        left.remove_prefix(size == 0 ? 1 : size);
    }
    return repaired;
}

std::string Text_nameProblem(std::string_view name) {
    std::size_t characters = 0;
    for (std::string_view left = name; !left.empty(); ++characters) {
        const std::size_t size = Text_characterSize(left);
        if (size == 0) {
            return "must be UTF-8";
        }
        // cppcheck-suppress containerOutOfBounds ; there is no round of the loop without one
        const auto first = static_cast<std::uint8_t>(left.front());
        if (first == '/') {
            return "must not hold \"/\"";
        }
        if (first < 0x20 || first == 0x7F || isLateControl(left.substr(0, size))) {
            return "must not hold control characters";
        }
        left.remove_prefix(size);
    }
    return characters == 0 || characters > kNameMax ? "must be 1 to 64 characters long" : "";
}

}  // namespace avoip::gw
