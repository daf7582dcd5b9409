// Texts in UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

/// The beginning of `text`, at most `sizeMax` bytes of it, that does not end inside a character.
/// Bytes that are no UTF-8 are cut anywhere.
std::string_view Utf8_prefix(std::string_view text, std::size_t sizeMax);
