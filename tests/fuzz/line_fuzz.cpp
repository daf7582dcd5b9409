// The console's reading and trimming: the input is what a front end sends before it goes.
#include "console/line.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "fuzz/fuzz.hpp"

namespace {

/// What a pipe takes at once.
constexpr std::size_t kInputMax = 65536;

std::string trimmed(std::string line) {
    line.erase(0, std::min(line.find_first_not_of(' '), line.size()));
    std::erase(line, '\r');
    std::erase(line, '\n');
    return line;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view sent(reinterpret_cast<const char*>(data), std::min(size, kInputMax));
    std::array<int, 2> ends{};
    fuzz::require(::pipe(ends.data()) == 0, "there is a pipe");
    fuzz::require(::write(ends[1], sent.data(), sent.size()) == static_cast<ssize_t>(sent.size()),
                  "the pipe takes the input");
    ::close(ends[1]);

    for (;;) {
        std::array<char, kLineBufferSize> line{};
        const int count = Telnet_readLine(ends[0], line.data(), kLineBufferSize);
        if (count <= 0) {
            break;
        }
        const auto length = static_cast<std::size_t>(count);
        fuzz::require(length < line.size() && sent.starts_with({line.data(), length}),
                      "a line is what was sent, and has room for its end");
        fuzz::require(line[length - 1] == '!' || count == kLineBufferSize - 1,
                      "a line ends at its mark or its limit");
        sent.remove_prefix(length);
        const std::string expected = trimmed(line.data());
        fuzz::require(Telnet_trimLine(line.data(), count) == nullptr && expected == line.data(),
                      "a line is trimmed in front and of its line ends");
    }
    fuzz::require(sent.find('!') == std::string_view::npos, "no line is left unread");
    ::close(ends[0]);
    return 0;
}
