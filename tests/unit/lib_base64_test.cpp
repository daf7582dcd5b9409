// Base64 for everything beside the daemon: strict.
#include "lib/base/base64.hpp"

#include <gtest/gtest.h>

#include <string>

namespace avoip {
namespace {

std::string encode(const std::string& text) {
    return Base64_encode(
        std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::string decode(const std::string& text) {
    const auto bytes = Base64_decode(text);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "(refused)";
}

TEST(LibBase64, encodes_each_length_of_a_last_group) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("H"), "SA==");
    EXPECT_EQ(encode("He"), "SGU=");
    EXPECT_EQ(encode("Hel"), "SGVs");
    EXPECT_EQ(encode("Hello"), "SGVsbG8=");
    EXPECT_EQ(encode("\xFF\xFE\xFD"), "//79");
}

TEST(LibBase64, decodes_what_it_encodes) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
        EXPECT_EQ(decode(encode(bytes)), bytes);
    }
}

TEST(LibBase64, refuses_what_is_no_base64) {
    for (const char* text : {"=", "SGU", "SG=s", "S===", "SG!s", "SGVs="}) {
        EXPECT_EQ(decode(text), "(refused)") << text;
    }
}

}  // namespace
}  // namespace avoip
