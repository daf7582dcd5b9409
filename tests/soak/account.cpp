#include "soak/account.hpp"

#include <algorithm>
#include <chrono>

#include "bed/console.hpp"
#include "bed/wait.hpp"

namespace soak {

namespace {

/// More than any command takes; connections of a crowd can hold each other up.
constexpr std::chrono::seconds kIdlePatience{240};

/// The main thread, the listener and the connection that stays.
constexpr std::size_t kIdleThreads = 3;

/// A daemon has room for so many ended connections ("connection-leaks"): each holds three of the
/// 65,530 mappings that a process may have. A long run opens them at a slower pace.
constexpr double kMostConnections = 15'000;

/// What the kept behaviours cost. Measured were 17 KiB for an ended connection
/// ("connection-leaks"), 20 for one that had read replies, and some 50 on average for one that had
/// listed 100 or 200 devices; a reply that is not released ("parser-leak") costs a kilobyte or two.
constexpr std::size_t kConnectionKiB = 18;
constexpr std::size_t kReaderMoreKiB = 4;
constexpr std::size_t kListerMoreKiB = 100;
constexpr std::size_t kReplyKiB = 2;
/// The heaps of the threads: as many as there were threads at the same time in the largest crowd.
constexpr std::size_t kHeapsKiB = 6144;

}  // namespace

void Account::expect(const Line& line, int least) {
    printed_.lines.expect(line.text, least, 1);
    if (line.datagrams.empty()) {
        return;
    }
    if (!bed_.devicesCanBeReached()) {
        report_.counts.failedByAddress += bed_.hasAddress() ? 0 : 1;
        return;
    }
    for (const std::string& datagram : line.datagrams) {
        requests_.expect(datagram, least, 1);
    }
    if (line.ending == Ending::kSucceeds && !line.hasData && least == 1) {
        ++report_.counts.oneWay;
        report_.counts.oneWayRequests += line.datagrams.size();
    }
}

void Account::expectUnknown(const std::string& bytes, int least) {
    for (const std::string& line : linesIn(bytes)) {
        printed_.lines.expect(line, least, 1);
    }
}

void Account::countEnded(Use use) {
    ++report_.counts.connections;
    report_.counts.readers += use == Use::kReading ? 1 : 0;
    report_.counts.listers += use == Use::kListing ? 1 : 0;
}

void Account::hear() {
    for (const bed::CableDatagram& datagram : bed_.cable.take()) {
        requests_.see(datagram.text);
    }
}

void Account::awaitRequests() {
    bed::awaitCondition("the requests", [&] {
        hear();
        return requests_.isComplete();
    });
}

// Connections are accepted in the order in which they were made, so all have been accepted when
// the daemon has ended the last one; and a thread that has gone has done all it had to.
void Account::awaitIdle() {
    bed::Console last;
    last.send("exit!");
    last.awaitClosed();
    countEnded();
    const auto idle = [&] {
        hear();
        return bed_.daemon.threadCount() <= kIdleThreads;
    };
    bed::awaitCondition("the connections' threads to end", idle, kIdlePatience);
}

void Account::settle() {
    hear();
    printed_.follow();
    for (const std::string& wrong : requests_.settle()) {
        report_.notKept("requests: " + wrong);
    }
    for (const std::string& wrong : printed_.lines.settle()) {
        report_.notKept("lines carried out: " + wrong);
    }
    if (start_.threads != 0) {
        compareProcess();
    }
    const std::uint64_t sent = countDatagrams().sent;
    if (sent != requests_.seen()) {
        report_.notKept("the system has counted " + std::to_string(sent) +
                        " datagrams, and heard were " + std::to_string(requests_.seen()));
    }
}

// A long run opens its connections at a slower pace.
double Account::shareUsed() const {
    return std::min(static_cast<double>(report_.counts.connections) / kMostConnections, 1.0);
}

std::size_t Account::explainedDescriptors() const {
    return start_.descriptors + report_.counts.failedByAddress + printed_.imagesLeftOpen;
}

std::size_t Account::explained_kib() const {
    const Counts& counts = report_.counts;
    return start_.resident_kib + kHeapsKiB + kConnectionKiB * counts.connections +
           kReaderMoreKiB * counts.readers + kListerMoreKiB * counts.listers +
           kReplyKiB * printed_.repliesLeft;
}

void Account::compareProcess() {
    const Process now = bed_.process();
    const auto compare = [&](const char* what, std::size_t is, std::size_t explained) {
        report_.notKept(std::string(what) + ": " + std::to_string(is) + ", and explained are " +
                        std::to_string(explained));
    };
    if (now.descriptors != explainedDescriptors()) {
        compare("open descriptors", now.descriptors, explainedDescriptors());
    }
    if (now.resident_kib > explained_kib()) {
        compare("KiB of resident memory", now.resident_kib, explained_kib());
    }
    const std::uint64_t bad =
        report_.injected(Fault::kImageBad) + report_.injected(Fault::kImageForOthers);
    if (printed_.imagesLeftOpen > bad) {
        compare("images left open", printed_.imagesLeftOpen, bad);
    }
}

}  // namespace soak
