// Connections without end under avoipguard, which replaces the daemon before it is used up: what
// front ends see of that.
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "bed/folder.hpp"
#include "bed/wait.hpp"
#include "lib/health/health_reader.hpp"
#include "load/bed.hpp"
#include "load/ear.hpp"

namespace load {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// So long a front end without the library may be refused by one restart.
constexpr int kRefusedMs = 20;

/// A front end that does not use the library: connects every millisecond, and again at once when it
/// was refused.
class PlainFrontEnd {
  public:
    void finish() {
        thread_.request_stop();
        thread_.join();
    }

    /// Of the refusals between two connections, the longest row and how long it took.
    std::size_t rows() const { return rows_; }
    std::size_t refused() const { return refused_; }
    std::size_t connections() const { return connections_; }
    double longest_ms() const { return longest_ms_; }

  private:
    static bool connects() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(bed::kConsolePort);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const avoip::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        return ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }

    void run(const std::stop_token& finishing) {
        while (!finishing.stop_requested()) {
            const auto begin = Clock::now();
            std::size_t row = 0;
            while (!connects() && !finishing.stop_requested()) {
                ++row;
            }
            ++connections_;
            if (row > 0) {
                ++rows_;
                refused_ += row;
                const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
                longest_ms_ = std::max(longest_ms_, took.count());
            }
            std::this_thread::sleep_for(1ms);
        }
    }

    std::size_t rows_ = 0;
    std::size_t refused_ = 0;
    std::size_t connections_ = 0;
    double longest_ms_ = 0;
    std::jthread thread_{[this](const std::stop_token& finishing) { run(finishing); }};
};

/// The guard with the daemon under it, which serves when this stands.
struct GuardedBed {
    explicit GuardedBed(std::vector<std::pair<int, rlim_t>> limits = {})
        : guard(options(std::move(limits))) {
        bed::awaitCondition("the daemon to work", [this] {
            const auto health = avoip::Health_readFolder(folder);
            return health && health->state == avoip::HealthState::kOk;
        });
    }
    GuardedBed(const GuardedBed&) = delete;
    GuardedBed& operator=(const GuardedBed&) = delete;

    /// What the environment names, to have other builds measured; else this tree's.
    static std::string chosen(const char* variable, const char* own) {
        const char* const named = std::getenv(variable);
        return named != nullptr ? named : own;
    }

    bed::DaemonOptions options(std::vector<std::pair<int, rlim_t>> limits) const {
        bed::DaemonOptions made;
        made.limits = std::move(limits);
        made.program = chosen("AVOIPGUARD", AVOIPGUARD_PATH);
        made.arguments = {"--daemon", chosen("AVOIPD", AVOIPD_PATH), "--state-folder", folder};
        made.standardOutput = nowhere.get();
        return made;
    }

    bed::Folder place;
    const std::string& folder = place.path();
    bed::Namespaces namespaces;
    avoip::Descriptor nowhere{::open("/dev/null", O_WRONLY | O_CLOEXEC)};
    bed::Daemon guard;
};

Footprint footprintOf(const bed::Daemon& process) {
    return {process.resident_kib(), process.descriptors().size(), 0};
}

/// The highest wear at which the guard has replaced the daemon, in percent.
int highestWear(const std::string& words) {
    constexpr std::string_view kBefore = "avoipd has used up ";
    int highest = 0;
    for (std::size_t at = words.find(kBefore); at != std::string::npos;
         at = words.find(kBefore, at + 1)) {
        highest = std::max(highest, std::atoi(words.c_str() + at + kBefore.size()));
    }
    return highest;
}

int restartsOf(const GuardedBed& bed) {
    const auto health = avoip::Health_readFolder(bed.folder);
    return health ? health->restarts : -1;
}

std::string summary(std::size_t connections, GuardedBed& bed) {
    return grouped(connections) + " connections one after the other, each for one command; " +
           std::to_string(restartsOf(bed)) + " restarts, at " +
           std::to_string(highestWear(bed.guard.errors().all())) + " % at most";
}

std::string seenBy(const PlainFrontEnd& plain) {
    std::array<char, 64> longest{};
    std::snprintf(longest.data(), longest.size(), "%.1f", plain.longest_ms());
    return "; a front end without the library was refused in " + std::to_string(plain.rows()) +
           " of its " + grouped(plain.connections()) + " connections, " + grouped(plain.refused()) +
           " times in all, for " + longest.data() + " ms at most";
}

/// Connects, asks and goes, so many times, or until the daemon was replaced so often; says what was
/// lost.
Finding askOnEach(std::size_t most, GuardedBed& bed, int restartsMost = INT_MAX) {
    Ear ear(bed.namespaces, most);
    std::size_t connections = 0;
    Finding finding;
    std::size_t unserved = 0;
    std::string explanation;
    finding.before = footprintOf(bed.guard);
    const auto begin = Clock::now();
    for (; connections < most && restartsOf(bed) < restartsMost; ++connections) {
        bed::FrontEnd frontEnd;
        const std::string problem = askCommand(frontEnd, connections);
        if (!problem.empty()) {
            ++unserved;
            explanation = problem;
        }
    }
    finding.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    finding.after = footprintOf(bed.guard);
    finding.done = summary(connections, bed);
    finding.lost = ear.finish(connections);
    addLoss(finding.lost, unserved, "commands not answered, such as: " + explanation);
    return finding;
}

}  // namespace

Finding guardedConnections(std::size_t connections) {
    GuardedBed bed;
    PlainFrontEnd plain;
    Finding finding = askOnEach(connections, bed);
    plain.finish();
    finding.done += seenBy(plain);
    addLoss(finding.lost, plain.longest_ms() > kRefusedMs ? 1 : 0,
            "refusal for more than " + std::to_string(kRefusedMs) + " ms");
    return finding;
}

Finding guardedThreeRestarts(std::size_t most) {
    constexpr int kRestarts = 3;
    GuardedBed bed;
    Finding finding = askOnEach(most, bed, kRestarts);
    addLoss(finding.lost,
            static_cast<std::size_t>(kRestarts - std::min(restartsOf(bed), kRestarts)),
            "of three restarts");
    return finding;
}

Finding guardedLittleSpace(std::size_t connections) {
    GuardedBed bed({{RLIMIT_AS, rlim_t{3} << 30U}});
    Finding finding = askOnEach(connections, bed);
    finding.done += ", in the 3 GiB of addresses of a 32-bit processor";
    return finding;
}

}  // namespace load
