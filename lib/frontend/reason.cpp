#include "lib/frontend/reason.hpp"

#include <cstdarg>
#include <cstdio>

namespace avoip {

void Reason_set(Reason& reason, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(reason.text, sizeof reason.text, format, arguments);
    va_end(arguments);
}

}  // namespace avoip
