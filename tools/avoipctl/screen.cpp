#include "avoipctl/screen.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace avoip::ctl {
namespace {

constexpr int kUsualColumns = 80;

int columnsOf(int descriptor) {
    if (::isatty(descriptor) == 0) {
        return 0;
    }
    winsize size{};
    const bool known = ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kUsualColumns;
}

bool takesColours(int descriptor) {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return ::isatty(descriptor) != 0 && (refused == nullptr || refused[0] == '\0') &&
           terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string_view codeOf(Paint paint) {
    switch (paint) {
        case Paint::kHeading:
            return "\x1b[1m";
        case Paint::kGood:
            return "\x1b[32m";
        case Paint::kBad:
            return "\x1b[31m";
        case Paint::kFaint:
            break;
    }
    return "\x1b[2m";
}

}  // namespace

Screen Screen_now() {
    return {columnsOf(STDOUT_FILENO), takesColours(STDOUT_FILENO), takesColours(STDERR_FILENO)};
}

std::string Screen_paint(bool colour, Paint paint, std::string_view text) {
    if (!colour) {
        return std::string(text);
    }
    return std::string(codeOf(paint)).append(text).append("\x1b[0m");
}

}  // namespace avoip::ctl
