#include "base/utf8.hpp"

namespace {

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// The bytes of the character that `lead` begins; 1 where it begins none of several.
std::size_t sizeOf(char lead) {
    const auto byte = static_cast<unsigned char>(lead);
    if (byte < 0xC0) {
        return 1;
    }
    return byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

}  // namespace

std::string_view Utf8_prefix(std::string_view text, std::size_t sizeMax) {
    if (text.size() <= sizeMax) {
        return text;
    }
    std::size_t lead = sizeMax;
    while (lead > 0 && isContinuation(text[lead])) {
        --lead;
    }
    const bool isCut = lead < sizeMax && lead + sizeOf(text[lead]) > sizeMax;
    return text.substr(0, isCut ? lead : sizeMax);
}
