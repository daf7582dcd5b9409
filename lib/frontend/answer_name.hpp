// Whose an answer is, as far as it says so itself: the "cmd" of its "ack".
#pragma once

#include <cstddef>
#include <string_view>

namespace avoip {

/// The longest name: a line that no command matches is answered with 127 bytes of itself.
inline constexpr std::size_t kNameMax = 127;

struct AnswerName {
    /// False for a text that does not begin as all answers of the daemon do.
    bool exists = false;
    char text[kNameMax + 1] = "";
};

/// The name that `answer` carries, a JSON text as the daemon prints it.
AnswerName Answer_name(const char* answer);

/// Whether the name of an answer is the one that was expected. One that would be longer than the
/// daemon's longest is cut by it, so of such a one the beginning counts.
bool AnswerName_fits(std::string_view name, std::string_view expected);

}  // namespace avoip
