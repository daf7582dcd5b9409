// A whole console line through the dispatcher. The input's first line is the console's, each
// further one is a datagram that a device replies.
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "console/line.hpp"
#include "fuzz/bed.hpp"
#include "fuzz/fuzz.hpp"

namespace {

constexpr std::size_t kRepliesMax = 64;

std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// Whether the line might open a file of this machine. Words may stand in any number between an
/// update command and its path.
bool namesFile(const std::string& line) {
    if (line.find("update") == std::string::npos) {
        return false;
    }
    std::string others = line;
    for (const std::string image : {fuzz::kEncoderImage, fuzz::kDecoderImage}) {
        if (const std::size_t at = others.find(image); at != std::string::npos) {
            others.erase(at, image.size());
        }
    }
    return others.size() == line.size() || others.find('/') != std::string::npos;
}

}  // namespace

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzz::startBed();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    // A line ends at its first zero byte for the dispatcher, and is as long as the console lets it.
    std::string line(takeLine(text).substr(0, kLineBufferSize - 1));
    line.resize(std::min(line.find('\0'), line.size()));
    if (namesFile(line)) {
        return 0;
    }
    std::vector<std::string_view> replies;
    while (!text.empty() && replies.size() < kRepliesMax) {
        replies.push_back(takeLine(text));
    }
    fuzz::runCommand(line, replies);
    return 0;
}
