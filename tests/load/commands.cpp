// Many commands: on one connection in turns, and on fifty at once.
#include <fstream>
#include <future>
#include <limits>
#include <string>
#include <vector>

#include "bed/wait.hpp"
#include "load/bed.hpp"
#include "load/ear.hpp"

namespace load {

namespace {

constexpr std::size_t kConnections = 50;
/// Who waits this long for an answer or an end waits in vain.
constexpr std::chrono::minutes kLongPatience{10};
/// A daemon that leaves so many commands without their answers is not asked any further.
constexpr std::size_t kUnansweredMost = 10;

/// The packets that have left "eth0.2", whoever sent them.
std::size_t sentPackets() {
    std::ifstream table("/proc/thread-self/net/dev");
    for (std::string word; table >> word;) {
        if (word != "eth0.2:") {
            continue;
        }
        // Eight numbers of what was received, then the bytes sent, then the packets.
        for (int field = 0; field < 10; ++field) {
            table >> word;
        }
        return std::stoul(word);
    }
    throw bed::Error("there is no eth0.2 to count packets at");
}

/// The lines numbered from `first` on, and the end of the connection behind them.
std::string linesFrom(std::size_t first, std::size_t count) {
    std::string lines;
    for (std::size_t i = 0; i < count; ++i) {
        lines += commandLine(first + i);
    }
    return lines + "exit!";
}

/// Sends on all connections at the same time and waits until the daemon has ended each.
void sendOnAll(std::vector<bed::Console>& consoles, std::size_t each) {
    std::vector<std::future<void>> sending;
    for (std::size_t i = 0; i < consoles.size(); ++i) {
        sending.push_back(std::async(std::launch::async, [&console = consoles[i], i, each] {
            console.send(linesFrom(i * each, each));
            console.awaitClosed(kLongPatience);
        }));
    }
    for (std::future<void>& one : sending) {
        one.get();
    }
}

}  // namespace

Finding oneConnection(std::size_t commands) {
    LoadBed bed;
    Ear ear(bed.namespaces, commands);
    bed::FrontEnd frontEnd;
    frontEnd.ask("hello!", bed::kPatience);
    std::size_t unanswered = 0;
    Finding finding = measure(bed, [&] {
        for (std::size_t i = 0; i < commands && unanswered < kUnansweredMost; ++i) {
            unanswered += askCommand(frontEnd, i).empty() ? 0 : 1;
        }
    });
    finding.done = grouped(commands) + " commands on one connection, each answered before the next";
    finding.lost = ear.finish();
    addLoss(finding.lost, unanswered, "without their answer");
    return finding;
}

Finding fiftyConnections(std::size_t commands) {
    LoadBed bed;
    Ear ear(bed.namespaces, kConnections * commands);
    const std::size_t sentBefore = sentPackets();
    Finding finding = measure(bed, [&] {
        std::vector<bed::Console> consoles(kConnections);
        sendOnAll(consoles, commands);
        bed.awaitIdle();
    });
    const std::size_t sent = sentPackets() - sentBefore;
    finding.lost = ear.finish();
    const std::size_t wanted = kConnections * commands;
    addLoss(finding.lost, wanted - std::min(sent, wanted), "not counted by eth0.2");
    finding.done = std::to_string(kConnections) + " connections with " + grouped(commands) +
                   " commands each; eth0.2 counted " + grouped(sent) + " packets";
    return finding;
}

}  // namespace load
