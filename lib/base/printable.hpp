// Texts from devices, made fit to be shown. A device shall neither steer the terminal nor turn the
// order of what stands beside its text: control characters, and characters that change the
// direction of writing, are never shown as they are.
#pragma once

#include <string>
#include <string_view>

namespace avoip {

/// For people: "?" in place of each such character, and of each byte that is no UTF-8.
std::string Printable_text(std::string_view text);

/// For programs: a JSON text in which each such character is escaped, which changes nothing of what
/// it means. Bytes that are no UTF-8 become U+FFFD.
std::string Printable_json(std::string_view json);

}  // namespace avoip
