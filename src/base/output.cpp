#include "base/output.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

struct Free {
    void operator()(char* text) const { std::free(text); }
};

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
    char* allocated = nullptr;
    const int length = ::vasprintf(&allocated, format, arguments);
    if (length >= 0) {
        const std::unique_ptr<char, Free> text(allocated);
        writeWhole(descriptor, {text.get(), static_cast<std::size_t>(length)});
    }
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
