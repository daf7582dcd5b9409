// Replies whose data the families read by hand. The input is what stands behind a matching "ack".
#include <string>

#include "fuzz/bed.hpp"
#include "fuzz/fuzz.hpp"

namespace {

struct Asked {
    const char* line;
    const char* cmd;
};

constexpr Asked kAsked[] = {
    {"matrix get RX-0001!", "matrix get"},
    {"serial matrix get RX-0001!", "serial matrix get"},
    {"ir matrix get RX-0001!", "ir matrix get"},
    {"config get rx edid RX-0001!", "edid get"},
};

}  // namespace

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzz::startBed();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const Asked& asked : kAsked) {
        std::string reply = std::string(R"({"ack":{"cmd":")") + asked.cmd +
                            R"(","status":"success","hostid":")" + fuzz::kHostIdentity +
                            R"(","deviceid":"RX-0001"})";
        reply.append(reinterpret_cast<const char*>(data), size);
        const std::string_view replies[] = {reply};
        fuzz::runCommand(asked.line, replies);
    }
    return 0;
}
