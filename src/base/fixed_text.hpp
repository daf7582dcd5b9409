// Texts of a fixed width, as the records and requests of the device protocol hold them.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

/// A text of at most kWidth - 1 characters and its terminating zero. It has no constructor, so that
/// an array of a thousand records costs nothing until it is filled; `FixedText<32> text{};` is
/// empty.
template <std::size_t kWidth>
struct FixedText {
    std::array<char, kWidth> bytes;

    /// Stores `text`, cut to kWidth - 1 characters, and a terminating zero.
    void set(std::string_view text) { bytes[text.copy(bytes.data(), kWidth - 1)] = '\0'; }

    /// The characters up to the first zero, all kWidth of them where there is none.
    [[nodiscard]] std::string_view view() const {
        return {bytes.data(), ::strnlen(bytes.data(), kWidth)};
    }

    /// The terminated text, as `set` leaves it.
    [[nodiscard]] const char* c_str() const { return bytes.data(); }
};

/// The identity of a device, or of a group of devices, as a request addresses it.
using DeviceId = FixedText<32>;
