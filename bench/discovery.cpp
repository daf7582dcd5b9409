// What discovery costs with fleets of 1 to 1,024 devices that all answer at once: replies lost,
// processor time per reply, and the time beyond the half second of silence that ends it.
//
//   discovery [FILE]
//
// FILE receives a line for each fleet, for the plot: devices, and the daemon's and the floor's
// processor time per discovery in ms.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "bench/devices.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"

namespace {

constexpr std::size_t kRounds = 7;
constexpr double kSilenceUs = 500'000;
/// The daemon has room for so many devices; the last one ends the discovery at once.
constexpr int kRoom = 1024;
constexpr const char* kLine = "config get devices!";
const bench::FloorWork kWork{
    .replies = "idle",
    .request = R"({"request":{"cmd":"config get device","hostid":"001122aabbcc",)"
               R"("device":[{"id":"All"}]}})",
    .answer = "",
};

struct Cost {
    std::vector<double> cpu_us;
    std::vector<double> beyond_us;
    std::size_t listed = 0;
};

std::size_t countOf(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (auto place = text.find(what); place != std::string::npos;
         place = text.find(what, place + what.size())) {
        ++count;
    }
    return count;
}

/// @param mark       what the answer holds once for each device
/// @param silence_us  how long this server waits for more
void discover(const bench::Server& server, const bench::Responder& devices, const char* mark,
              double silence_us, Cost& cost) {
    bed::Console console = server.connect();
    const double before = bench::cpu_us(server.pid());
    server.askPatiently(console, kLine);
    const double answered_us = bench::now_us();
    cost.cpu_us.push_back(bench::cpu_us(server.pid()) - before);
    cost.beyond_us.push_back(answered_us - devices.lastSent_us() - silence_us);
    cost.listed += countOf(server.answer(), mark);
}

void printFleet(int size, const Cost& daemon, const Cost& floor, std::FILE* plot) {
    const std::string fleet =
        "Discovery, " + std::to_string(size) + (size == 1 ? " device" : " devices at once");
    const std::size_t sent = kRounds * static_cast<std::size_t>(size);
    const auto lost = [sent](const Cost& cost) { return std::to_string(sent - cost.listed); };
    bench::printRow(fleet + ": replies lost of " + std::to_string(sent), lost(daemon), lost(floor),
                    "", bench::goal("none", daemon.listed == sent));
    const auto each = [size](const Cost& cost) {
        return bench::number(bench::median(cost.cpu_us) / size, 1) + " us";
    };
    bench::printRow(fleet + ": processor time per reply", each(daemon), each(floor),
                    bench::number(bench::medianRatio(daemon.cpu_us, floor.cpu_us), 2));
    const auto beyond = [](const Cost& cost) {
        return bench::number(bench::median(cost.beyond_us) / 1000, 2) + " ms";
    };
    const char* const end = size < kRoom ? ": time beyond the silence" : ": time to the answer";
    bench::printRow(fleet + end, beyond(daemon), beyond(floor),
                    bench::number(bench::medianRatio(daemon.beyond_us, floor.beyond_us), 2));
    if (plot != nullptr) {
        std::fprintf(plot, "%d %.3f %.3f\n", size, bench::median(daemon.cpu_us) / 1000,
                     bench::median(floor.cpu_us) / 1000);
    }
}

const char* plotPath = nullptr;

void measure() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> plot(
        plotPath != nullptr ? std::fopen(plotPath, "w") : nullptr, std::fclose);
    if (plotPath != nullptr && plot == nullptr) {
        bed::throwSystemError(std::string("cannot write ") + plotPath);
    }
    const bed::Namespaces namespaces;
    for (const int size : {1, 16, 64, 256, kRoom}) {
        const bench::Responder devices(namespaces, bench::deviceReplies(size));
        const bench::Server daemon;
        const bench::Server floor(kWork);
        Cost daemonCost;
        Cost floorCost;
        for (std::size_t round = 0; round < kRounds; ++round) {
            // The identity of a device stands under another key in the answer than in the replies.
            discover(daemon, devices, "\"hostid\":\"TX-", size < kRoom ? kSilenceUs : 0,
                     daemonCost);
            discover(floor, devices, "\"device\":{", kSilenceUs, floorCost);
        }
        printFleet(size, daemonCost, floorCost, plot.get());
    }
}

}  // namespace

int main(int argc, char** argv) {
    plotPath = argc > 1 ? argv[1] : nullptr;
    return bench::run("discovery", measure);
}
