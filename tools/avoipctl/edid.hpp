// EDID blocks as "edid get" shows them: the facts, and all bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "lib/base/edid.hpp"

namespace avoip::ctl {

/// The bytes in lines of 16, each with the offset of its first.
std::string Edid_hexDump(std::span<const std::uint8_t> bytes);

/// All that is shown of an EDID: the facts, one a line, an empty line, and the dump.
std::string Edid_text(std::string_view hex);

/// Lets the program edid-decode explain the EDID on standard output. Gives nothing, or what went
/// wrong.
std::string Edid_explain(std::string_view hex);

}  // namespace avoip::ctl
