// What a command costs beside the bare system calls that it cannot do without: a one-way command on
// one connection and on eight, and a command that waits for one reply.
//
// The daemon and the floor take turns, some thousand commands each. Both send their requests to the
// same devices' side, where each one that left is counted: one too few or too many ends the run.
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "bench/devices.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"

namespace {

constexpr std::size_t kRounds = 15;
constexpr std::size_t kCommands = 2000;
constexpr std::size_t kConnections = 8;
constexpr double kGoal = 1.5;
constexpr const char* kRequestLost = "a request was lost on the way, or came twice";

const bench::FloorWork kSingleReply{
    .replies = "1",
    .request = R"({"request":{"cmd":"matrix get","hostid":"001122aabbcc",)"
               R"("device":[{"id":"RX-0001"}]}})",
    .answer = R"({"ack":{"cmd":"matrix get","status":"success"},)"
              R"("rxsource":[{"rxid":"RX-0001","txid":"TX-0001"}]})",
};

/// What one server needed, round by round; the latencies are of single commands.
struct Cost {
    std::vector<double> cpu_us;
    std::vector<double> p50_us;
    std::vector<double> p99_us;
};

void expect(bool kept, const std::string& what) {
    if (!kept) {
        throw bed::Error(what);
    }
}

/// Asks kCommands times on one connection. `deviceTime_us` says what of the last command's latency
/// was the device's.
void askOnOneConnection(const bench::Server& server, const std::string& line, Cost& cost,
                        const std::function<double()>& deviceTime_us) {
    bed::Console console = server.connect();
    server.ask_us(console, line);
    std::vector<double> latencies_us;
    const double before = bench::cpu_us(server.pid());
    for (std::size_t i = 0; i < kCommands; ++i) {
        const double latency_us = server.ask_us(console, line);
        latencies_us.push_back(latency_us - deviceTime_us());
    }
    cost.cpu_us.push_back((bench::cpu_us(server.pid()) - before) / kCommands);
    cost.p50_us.push_back(bench::percentile(latencies_us, 0.5));
    cost.p99_us.push_back(bench::percentile(latencies_us, 0.99));
}

void printCost(const std::string& command, const Cost& daemon, const Cost& floor,
               const std::string& latency, bool latencyHasGoal) {
    const auto row = [](const std::string& what, const std::vector<double>& ours,
                        const std::vector<double>& bare, bool hasGoal) {
        const double ratio = bench::medianRatio(ours, bare);
        bench::printRow(what, bench::number(bench::median(ours), 1) + " us",
                        bench::number(bench::median(bare), 1) + " us", bench::number(ratio, 2),
                        hasGoal ? bench::atMost(kGoal, ratio) : "");
    };
    row(command + ": processor time", daemon.cpu_us, floor.cpu_us, !latencyHasGoal);
    row(command + ": " + latency + ", p50", daemon.p50_us, floor.p50_us, latencyHasGoal);
    row(command + ": " + latency + ", p99", daemon.p99_us, floor.p99_us, false);
}

void oneConnection(const bed::Namespaces& namespaces) {
    const bench::Listener devices(namespaces);
    const bench::Server daemon;
    const bench::Server floor(bench::oneWayWork());
    Cost daemonCost;
    Cost floorCost;
    for (std::size_t round = 0; round < kRounds; ++round) {
        for (const auto& [server, cost] :
             {std::pair{&daemon, &daemonCost}, std::pair{&floor, &floorCost}}) {
            askOnOneConnection(*server, bench::kOneWayLine, *cost, [] { return 0.0; });
            expect(server->answer() == bench::oneWayWork().answer,
                   "a wrong answer to the one-way command");
            expect(devices.count() == kCommands + 1, kRequestLost);
        }
    }
    printCost("One-way command", daemonCost, floorCost, "latency", false);
}

/// Sends kCommands lines on each of the connections, as fast as the server takes them.
/// @return commands per second, until the last one has been run
double askOnManyConnections(const bench::Server& server) {
    std::string lines;
    for (std::size_t i = 0; i < kCommands; ++i) {
        lines += bench::kOneWayLine;
    }
    lines += "exit!";
    std::vector<bed::Console> consoles;
    for (std::size_t i = 0; i < kConnections; ++i) {
        consoles.push_back(server.connect());
    }
    const double begin = bench::now_us();
    for (bed::Console& console : consoles) {
        console.send(lines);
    }
    for (bed::Console& console : consoles) {
        console.awaitClosed();
    }
    return kConnections * kCommands * 1e6 / (bench::now_us() - begin);
}

void eightConnections(const bed::Namespaces& namespaces) {
    const bench::Listener devices(namespaces);
    const bench::Server daemon;
    const bench::Server floor(bench::oneWayWork());
    std::vector<double> daemonRates;
    std::vector<double> floorRates;
    for (std::size_t round = 0; round < kRounds; ++round) {
        for (const auto& [server, rates] :
             {std::pair{&daemon, &daemonRates}, std::pair{&floor, &floorRates}}) {
            rates->push_back(askOnManyConnections(*server));
            expect(devices.count() == kConnections * kCommands, kRequestLost);
        }
    }
    const auto perSecond = [](const std::vector<double>& rates) {
        return bench::number(bench::median(rates), 0) + "/s";
    };
    bench::printRow("One-way commands on 8 connections at once", perSecond(daemonRates),
                    perSecond(floorRates),
                    bench::number(bench::medianRatio(daemonRates, floorRates), 2),
                    bench::goal("none lost", true));
}

void singleReply(const bed::Namespaces& namespaces) {
    const bench::Responder devices(namespaces, {bench::routeReply()});
    const bench::Server daemon;
    const bench::Server floor(kSingleReply);
    Cost daemonCost;
    Cost floorCost;
    for (std::size_t round = 0; round < kRounds; ++round) {
        for (const auto& [server, cost] :
             {std::pair{&daemon, &daemonCost}, std::pair{&floor, &floorCost}}) {
            askOnOneConnection(*server, bench::kSingleReplyLine, *cost,
                               [&devices] { return devices.ownTime_us(); });
            expect(server->answer() == kSingleReply.answer, "a wrong answer to a single reply");
        }
    }
    printCost("Single-reply command", daemonCost, floorCost, "latency beyond the device's time",
              true);
}

void measure() {
    const bed::Namespaces namespaces;
    oneConnection(namespaces);
    eightConnections(namespaces);
    singleReply(namespaces);
}

}  // namespace

int main() {
    return bench::run("commands", measure);
}
