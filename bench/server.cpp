#include "bench/server.hpp"

#include <fcntl.h>
#include <sched.h>

#include <csignal>
#include <cstdlib>

#include "bed/wait.hpp"
#include "bench/measure.hpp"

namespace bench {

namespace {

constexpr std::uint16_t kFloorPort = 6889;
constexpr key_t kFloorKey = 0x12345679;
constexpr double kPatienceUs = 20e6;

int nowhere() {
    static const avoip::Descriptor null(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    return null.get();
}

bed::DaemonOptions daemonOptions(const std::vector<std::string>& tool) {
    std::vector<std::string> words = tool;
    words.push_back(daemonPath());
    bed::DaemonOptions options;
    options.program = words.front();
    options.arguments.assign(words.begin() + 1, words.end());
    options.standardOutput = nowhere();
    return options;
}

bed::DaemonOptions floorOptions(const FloorWork& work) {
    bed::DaemonOptions options;
    options.program = FLOOR_PATH;
    options.arguments = {std::to_string(kFloorPort), std::to_string(kFloorKey), work.replies,
                         work.request, work.answer};
    options.standardOutput = nowhere();
    return options;
}

/// Sends the line and calls `pause` until the answer stands.
template <typename Pause>
double timeAnswer(bed::Segment& segment, bed::Console& console, const std::string& line,
                  const Pause& pause) {
    segment.clear();
    const double begin = now_us();
    console.send(line);
    while (!segment.hasAnswer()) {
        pause();
        if (now_us() - begin > kPatienceUs) {
            throw bed::Error("no answer to " + line);
        }
    }
    return now_us() - begin;
}

}  // namespace

std::string daemonPath() {
    const char* const chosen = std::getenv("AVOIPD");
    return chosen != nullptr ? chosen : AVOIPD_PATH;
}

FloorWork oneWayWork() {
    return {.replies = "0",
            .request = R"({"request":{"cmd":"device showme","hostid":"001122aabbcc",)"
                       R"("device":[{"id":"RX-0001"}]}})",
            .answer = R"({"ack":{"cmd":"device showme","status":"success"}})"};
}

Server::Server(const bed::DaemonOptions& options, std::uint16_t port, key_t key)
    : program_(options), port_(port) {
    connect();
    segment_ = std::make_unique<bed::Segment>(key);
}

Server::Server(const std::vector<std::string>& tool)
    : Server(daemonOptions(tool), bed::kConsolePort, bed::kSegmentKey) {}

Server::Server(const FloorWork& work) : Server(floorOptions(work), kFloorPort, kFloorKey) {}

void Server::interrupt() {
    ::kill(-program_.pid(), SIGINT);
    program_.awaitExit();
}

double Server::ask_us(bed::Console& console, const std::string& line) const {
    return timeAnswer(*segment_, console, line, [] { ::sched_yield(); });
}

void Server::askPatiently(bed::Console& console, const std::string& line) const {
    timeAnswer(*segment_, console, line, [] {
        const timespec pause{0, 50'000};
        ::nanosleep(&pause, nullptr);
    });
}

}  // namespace bench
