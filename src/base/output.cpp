#include "base/output.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace {

void writeWhole(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void printTo(int descriptor, const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

void printTo(int descriptor, const char* format, va_list arguments) {
    const int error = errno;
    va_list again;
    va_copy(again, arguments);
    char room[512];
    // The callers have begun the list.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(room, sizeof room, format, arguments);
    const auto size = static_cast<std::size_t>(length);
    if (length >= 0 && size < sizeof room) {
        writeWhole(descriptor, {room, size});
    } else if (length >= 0) {
        const std::unique_ptr<char[]> text(new (std::nothrow) char[size + 1]);
        if (text != nullptr) {
            std::vsnprintf(text.get(), size + 1, format, again);
            writeWhole(descriptor, {text.get(), size});
        }
    }
    va_end(again);
    errno = error;
}

void printError(const char* format, ...) __attribute__((format(printf, 1, 2)));

void printError(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printTo(STDERR_FILENO, format, arguments);
    va_end(arguments);
}

}  // namespace

void Output_print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    printTo(STDOUT_FILENO, format, arguments);
    va_end(arguments);
}

void Output_systemError(const char* text) {
    char description[128];
    // The GNU form returns the text, which need not be in the buffer.
    printError("%s: %s\n", text, ::strerror_r(errno, description, sizeof description));
}
