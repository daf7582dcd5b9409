// Runs the daemon under a tool that looks at it (strace, perf, valgrind) and gives it work, COUNT
// commands of one kind; scripts/measure profile runs this.
//
//   workload one-way|single-reply|discovery COUNT /PATH/TO/TOOL [ARGUMENT]...
//
// The daemon's path is put behind the tool's arguments. Discovery is of 64 devices. Tool and daemon
// are ended as by Ctrl-C when the work is done, so that the tool writes down what it saw.
#include <array>
#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "bed/namespaces.hpp"
#include "bench/devices.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"

namespace {

struct Workload {
    std::string_view name;
    const char* line;
    std::vector<std::string> replies;
};

const std::array kWorkloads{
    Workload{"one-way", bench::kOneWayLine, {}},
    Workload{"single-reply", bench::kSingleReplyLine, {bench::routeReply()}},
    Workload{"discovery", "config get devices!", bench::deviceReplies(64)},
};

const Workload* workload = nullptr;
int count = 0;
std::vector<std::string> tool;

void work() {
    const bed::Namespaces namespaces;
    const bench::Responder devices(namespaces, workload->replies);
    bench::Server daemon(tool);
    bed::Console console = daemon.connect();
    for (int i = 0; i < count; ++i) {
        daemon.askPatiently(console, workload->line);
    }
    daemon.interrupt();
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> arguments(argv + 1, argv + argc);
    if (arguments.size() >= 3) {
        std::from_chars(arguments[1].begin(), arguments[1].end(), count);
        tool.assign(arguments.begin() + 2, arguments.end());
        for (const Workload& each : kWorkloads) {
            workload = each.name == arguments[0] ? &each : workload;
        }
    }
    if (workload == nullptr || count < 1) {
        std::fputs("usage: workload one-way|single-reply|discovery COUNT TOOL [ARGUMENT]...\n",
                   stderr);
        return 2;
    }
    return bench::run("workload", work);
}
