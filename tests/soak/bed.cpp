#include "soak/bed.hpp"

#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "bed/ip_tool.hpp"
#include "bed/wait.hpp"
#include "lib/wire/wire.hpp"
#include "soak/lines.hpp"

namespace soak {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPause{2};

avoip::Descriptor openInterrupts() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    return avoip::Descriptor(::signalfd(-1, &set, SFD_CLOEXEC));
}

/// As many descriptors as the system allows: the kept behaviours use up the usual 1,024.
bed::DaemonOptions daemonOptions(int output) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    bed::DaemonOptions options;
    options.limits = {{RLIMIT_NOFILE, limit.rlim_max}};
    options.standardOutput = output;
    return options;
}

std::string requestLogOf(const Options& options) {
    return options.logs + "/requests.log";
}

std::unique_ptr<bed::Daemon> startFleet(const bed::Namespaces& namespaces, const Options& options) {
    std::filesystem::remove(requestLogOf(options));
    std::string stalling;
    for (int encoder = 1; encoder <= kStallingEncoders; ++encoder) {
        stalling += (stalling.empty() ? "" : ",") + encoderId(encoder);
    }
    bed::DaemonOptions fleet;
    fleet.program = AVOIPSIM_PATH;
    fleet.arguments = {"--encoders",
                       std::to_string(kEncoders),
                       "--decoders",
                       std::to_string(kDecoders),
                       "--interface",
                       bed::kDeviceInterface,
                       "--first-address",
                       "10.77.1.1",
                       "--reboot-time",
                       "500",
                       "--seed",
                       std::to_string(options.seed),
                       "--log",
                       requestLogOf(options),
                       "--upload-fault-devices",
                       stalling,
                       "--upload-stop-after",
                       "100000",
                       "--delay",
                       "0-20"};
    for (const char* fault :
         {"--loss", "--duplicate", "--wrong-hostid", "--failed", "--missing-key", "--not-json"}) {
        fleet.arguments.insert(fleet.arguments.end(), {fault, "0.02"});
    }
    auto started = namespaces.onDeviceSide([&] {
        bed::ip("route add local 10.77.1.0/24 dev lo");
        return std::make_unique<bed::Daemon>(fleet);
    });
    started->awaitOutput("avoipsim: ");
    return started;
}

/// Of this process.
double ownCpu_s() {
    rusage use{};
    ::getrusage(RUSAGE_SELF, &use);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(use.ru_utime) + seconds(use.ru_stime);
}

/// Of another process that runs.
double cpuOf_s(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string word;
    for (int field = 0; field < 13; ++field) {
        file >> word;
    }
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

}  // namespace

Bed::Bed(const Options& options, int output)
    : options_(options),
      interrupts_(openInterrupts()),
      fleet_(startFleet(namespaces_, options)),
      daemon(daemonOptions(output)) {
    cable.keepOnly(avoip::kRequestPort);
}

bool Bed::waitFor(milliseconds time) {
    isOver_ = isOver_ || secondsGone() >= options_.minutes * 60 ||
              bed::awaitReadable(interrupts_.get(), time);
    return !isOver_;
}

bool Bed::pause() {
    return waitFor(kPause);
}

void Bed::awaitShare(double share) {
    const double early = std::max(share * options_.minutes * 60 - secondsGone(), 0.0);
    waitFor(milliseconds(static_cast<std::int64_t>(early * 1000)));
}

double Bed::secondsGone() const {
    return std::chrono::duration<double>(steady_clock::now() - begin_).count();
}

void Bed::removeAddress() {
    namespaces_.removeAddress();
    devicesCanBeReached_ = false;
    hasAddress_ = false;
}

void Bed::addAddress() {
    namespaces_.addAddress();
    devicesCanBeReached_ = true;
    hasAddress_ = true;
}

void Bed::linkDown() {
    namespaces_.linkDown();
    devicesCanBeReached_ = false;
}

void Bed::linkUp() {
    namespaces_.linkUp();
    devicesCanBeReached_ = true;
}

Process Bed::process() const {
    return {.resident_kib = daemon.resident_kib(),
            .descriptors = daemon.descriptors().size(),
            .threads = daemon.threadCount()};
}

double Bed::cpu_s() const {
    return ownCpu_s() + cpuOf_s(fleet_->pid()) + (daemon.isRunning() ? cpuOf_s(daemon.pid()) : 0);
}

std::string Bed::requestLog() const {
    return requestLogOf(options_);
}

}  // namespace soak
