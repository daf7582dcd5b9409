#include "console/line.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

/// Closes the gaps that the characters `removed` leave in the line.
void removeAll(char* line, char removed) {
    *std::remove(line, line + std::strlen(line), removed) = '\0';
}

}  // namespace

int Telnet_readLine(int socket, char* buffer, int /*size*/) {
    int count = 0;
    for (;;) {
        const ssize_t got = ::read(socket, buffer + count, 1);
        if (got != 1) {
            return static_cast<int>(got);
        }
        ++count;
        if (count == kLineBufferSize - 1 || buffer[count - 1] == '!') {
            return count;
        }
    }
}

char* Telnet_trimLine(char* line, int count) {
    const std::size_t blanks =
        std::min(std::strspn(line, " "), static_cast<std::size_t>(std::max(count, 0)));
    std::memmove(line, line + blanks, std::strlen(line + blanks) + 1);
    removeAll(line, '\r');
    removeAll(line, '\n');
    return nullptr;
}
