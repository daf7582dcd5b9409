// Base64 both ways. The input is data to encode, and the longest beginning of it that the decoder
// takes is a text to decode. Both sides have exactly the room that they are promised.
#include "base64.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes decoded(const char* text, std::size_t length) {
    Bytes bytes(length / 4 * 3);
    const int count = base64_decode(bytes.data(), text, static_cast<int>(length));
    fuzz::require(count >= 0 && static_cast<std::size_t>(count) <= bytes.size(),
                  "what is decoded fits");
    bytes.resize(static_cast<std::size_t>(count));
    bytes.shrink_to_fit();
    return bytes;
}

std::vector<char> encoded(const Bytes& bytes) {
    std::vector<char> text((bytes.size() + 2) / 3 * 4);
    const int count = base64_encode(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    fuzz::require(static_cast<std::size_t>(count) == text.size(), "the text fills its room");
    return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    const std::vector<char> text = encoded(bytes);
    fuzz::require(decoded(text.data(), text.size()) == bytes, "what was encoded comes back");

    const std::vector<char> typed(data, data + size / 4 * 4);
    decoded(typed.data(), typed.size());
    return 0;
}
