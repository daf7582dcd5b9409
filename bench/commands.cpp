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
    std::vector<double> cpuUs;
    std::vector<double> p50Us;
    std::vector<double> p99Us;
};

void expect(bool kept, const std::string& what) {
    if (!kept) {
        throw bed::Error(what);
    }
}

/// Asks kCommands times on one connection. `deviceTimeUs` says what of the last command's latency
/// was the device's.
void askOnOneConnection(const bench::Server& server, const std::string& line, Cost& cost,
                        const std::function<double()>& deviceTimeUs) {
    bed::Console console = server.connect();
    server.askUs(console, line);
    std::vector<double> latenciesUs;
    const double before = bench::cpuUs(server.pid());
    for (std::size_t i = 0; i < kCommands; ++i) {
        const double latencyUs = server.askUs(console, line);
        latenciesUs.push_back(latencyUs - deviceTimeUs());
    }
    cost.cpuUs.push_back((bench::cpuUs(server.pid()) - before) / kCommands);
    cost.p50Us.push_back(bench::percentile(latenciesUs, 0.5));
    cost.p99Us.push_back(bench::percentile(latenciesUs, 0.99));
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
    row(command + ": processor time", daemon.cpuUs, floor.cpuUs, !latencyHasGoal);
    row(command + ": " + latency + ", p50", daemon.p50Us, floor.p50Us, latencyHasGoal);
    row(command + ": " + latency + ", p99", daemon.p99Us, floor.p99Us, false);
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
    const double begin = bench::nowUs();
    for (bed::Console& console : consoles) {
        console.send(lines);
    }
    for (bed::Console& console : consoles) {
        console.awaitClosed();
    }
    return kConnections * kCommands * 1e6 / (bench::nowUs() - begin);
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
                               [&devices] { return devices.ownTimeUs(); });
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
