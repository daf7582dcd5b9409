// What the program's texts are shown on: how wide a terminal is, and whether it takes colours.
#pragma once

#include <string>
#include <string_view>

namespace avoip::ctl {

struct Screen {
    int columns = 0;           ///< of standard output; 0 where that is no terminal: any width
    bool colour = false;       ///< whether standard output takes colours
    bool errorColour = false;  ///< whether standard error does
};

enum class Paint { kHeading, kGood, kBad, kFaint };

/// The screen of the standard streams as they are now. Colours are for terminals only, and for none
/// where NO_COLOR is set to anything, or TERM is "dumb".
Screen Screen_now();

/// The text in this paint where `colour` is true, else as it is.
std::string Screen_paint(bool colour, Paint paint, std::string_view text);

}  // namespace avoip::ctl
