#include "soak/bed.hpp"

#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "bed/ip_tool.hpp"
#include "bed/wait.hpp"

namespace soak {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kPause{2};
/// More than any command takes; connections of a crowd can hold each other up.
constexpr std::chrono::seconds kIdlePatience{240};
constexpr std::chrono::seconds kAnswerPatience{60};

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

std::string requestLog(const Options& options) {
    return options.logs + "/requests.log";
}

std::unique_ptr<bed::Daemon> startFleet(const bed::Namespaces& namespaces, const Options& options) {
    std::filesystem::remove(requestLog(options));
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
                       requestLog(options),
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

double secondsSince(steady_clock::time_point begin) {
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
}

double cpuSeconds(const rusage& use) {
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(use.ru_utime) + seconds(use.ru_stime);
}

/// Of a process that runs, and of this one.
double cpuSecondsOf(pid_t pid) {
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

Soak::Soak(const Options& options)
    : printed(options.logs + "/avoipd.log"),
      options_(options),
      interrupts_(openInterrupts()),
      fleet_(startFleet(namespaces_, options)),
      daemon_(daemonOptions(printed.descriptor())) {
    cable_.keepRequestsOnly();
    // What every kind of command needs once is had from here on.
    Random random(options.seed, 0);
    for (int i = 0; i < 3; ++i) {
        ask(oneWayLine(random, number()));
        ask(listingLine(random));
    }
    settle();
    start_ = process();
}

bool Soak::waitFor(milliseconds time) {
    isOver_ = isOver_ || secondsSince(begin_) >= options_.minutes * 60 ||
              bed::awaitReadable(interrupts_.get(), time);
    return !isOver_;
}

bool Soak::pause() {
    return waitFor(kPause);
}

void Soak::expect(const Line& line, int least) {
    printed.lines.expect(line.text, least, 1);
    if (line.datagrams.empty()) {
        return;
    }
    if (!devicesCanBeReached_) {
        ++report.counts.failedByAddress;
        return;
    }
    for (const std::string& datagram : line.datagrams) {
        requests_.expect(datagram, least, 1);
    }
    if (line.ending == Ending::kSucceeds && !line.hasData && least == 1) {
        ++report.counts.oneWay;
        report.counts.oneWayRequests += line.datagrams.size();
    }
}

void Soak::expectUnknown(const std::string& bytes, int least) {
    for (const std::string& line : linesIn(bytes)) {
        printed.lines.expect(line, least, 1);
    }
}

void Soak::countEnded(Use use) {
    ++report.counts.connections;
    report.counts.readers += use == Use::kReading ? 1 : 0;
    report.counts.listers += use == Use::kListing ? 1 : 0;
}

void Soak::hear() {
    for (const bed::CableDatagram& datagram : cable_.take()) {
        requests_.see(datagram.text);
    }
}

void Soak::awaitRequests() {
    bed::awaitCondition("the requests", [&] {
        hear();
        return requests_.isComplete();
    });
}

bool Soak::isAnswerOfUpload(const std::string& answer) {
    if (upload_ == nullptr || !isRightAnswer(*upload_, answer, true)) {
        return false;
    }
    upload_ = nullptr;
    return true;
}

std::string Soak::takeAnswer() {
    std::string answer = segment_.awaitAnswer(kAnswerPatience);
    // Cleared at once: whatever is posted from now on is one too many.
    segment_.clear();
    return answer;
}

void Soak::checkSegment() {
    if (!segment_.hasAnswer()) {
        return;
    }
    const std::string stray = takeAnswer();
    if (!isAnswerOfUpload(stray)) {
        report.notKept("an answer that nobody asked for: " + stray);
    }
}

std::string Soak::answerTo(const Line& line, const std::function<void()>& send) {
    checkSegment();
    segment_.clear();
    expect(line);
    ++report.counts.asked;
    send();
    hear();
    return takeAnswer();
}

void Soak::judge(const Line& line, const std::string& answer) {
    if (isRightAnswer(line, answer, devicesCanBeReached_)) {
        ++report.counts.answered;
    } else {
        report.notKept("a wrong answer to " + line.text + " : " + answer);
    }
}

void Soak::askBy(const Line& line, const std::function<void()>& send) {
    judge(line, answerTo(line, send));
}

void Soak::awaitLast(const Line& line) {
    bed::awaitCondition("the answer to " + line.text, [&] {
        return segment_.hasAnswer() && segment_.awaitAnswer() == line.failure;
    });
    segment_.clear();
}

void Soak::askBehindOthers(const Line& line, const std::function<void()>& send) {
    checkSegment();
    segment_.clear();
    expect(line);
    ++report.counts.asked;
    send();
    awaitLast(line);
    ++report.counts.answered;
}

void Soak::askThrough(bed::FrontEnd& frontEnd, const Line& line) {
    const auto send = [&](const Line& each) {
        if (frontEnd.ask(each.text, kAnswerPatience) == nullptr) {
            throw bed::Error("no answer to " + each.text + " : " + frontEnd.explanation());
        }
    };
    const std::string answer = answerTo(line, [&] { send(line); });
    if (isRightAnswer(line, answer, devicesCanBeReached_) || !isAnswerOfUpload(answer)) {
        judge(line, answer);
        return;
    }
    // The upload has ended meanwhile (kept: one-answer). This line's answer stood before it, or is
    // still to come; one more line shows when it has come and gone.
    ++report.counts.overwritten;
    const Line next = unknownLine(number());
    expect(next);
    send(next);
    awaitLast(next);
}

void Soak::askAsVisitor(const Line& line) {
    bed::FrontEnd visitor;
    askThrough(visitor, line);
    countEnded();
}

void Soak::removeAddress() {
    namespaces_.removeAddress();
    devicesCanBeReached_ = false;
}

void Soak::addAddress() {
    namespaces_.addAddress();
    devicesCanBeReached_ = true;
}

void Soak::linkDown() {
    namespaces_.linkDown();
    devicesCanBeReached_ = false;
}

void Soak::linkUp() {
    namespaces_.linkUp();
    devicesCanBeReached_ = true;
}

void Soak::beginUpload(const Line& line) {
    expect(line);
    upload_ = &line;
}

void Soak::endUpload(bool amongOthers) {
    if (upload_ == nullptr) {
        return;
    }
    if (amongOthers && !segment_.hasAnswer()) {
        // Another line's answer came right behind it.
        ++report.counts.overwritten;
        upload_ = nullptr;
        return;
    }
    const std::string answer = takeAnswer();
    if (!isAnswerOfUpload(answer)) {
        report.notKept("a wrong answer to " + upload_->text + " : " + answer);
        upload_ = nullptr;
    }
}

// Connections are accepted in the order in which they were made, so all have been accepted when
// the daemon has ended the last one; and a thread that has gone has done all it had to.
void Soak::awaitIdle() {
    bed::Console last;
    last.send("exit!");
    last.awaitClosed();
    countEnded();
    const auto idle = [&] {
        hear();
        return daemon_.threadCount() <= kIdleThreads;
    };
    bed::awaitCondition("the connections' threads to end", idle, kIdlePatience);
}

void Soak::forgetAnswers() {
    awaitIdle();
    segment_.clear();
}

void Soak::settle() {
    awaitIdle();
    ask(unknownLine(number()));
    checkSegment();
    hear();
    printed.follow();
    for (const std::string& wrong : requests_.settle()) {
        report.notKept("requests: " + wrong);
    }
    for (const std::string& wrong : printed.lines.settle()) {
        report.notKept("lines carried out: " + wrong);
    }
    if (start_.threads != 0) {
        compareProcess();
    }
    const std::uint64_t sent = countDatagrams().sent;
    if (sent != requests_.seen()) {
        report.notKept("the system has counted " + std::to_string(sent) +
                       " datagrams, and heard were " + std::to_string(requests_.seen()));
    }
    ++report.counts.phases;
    paceConnections();
}

// Slower where a long run would otherwise use up the room for connections.
void Soak::paceConnections() {
    const double used = static_cast<double>(report.counts.connections) / kMostConnections;
    const double due = std::min(used, 1.0) * options_.minutes * 60;
    const double early = std::max(due - secondsSince(begin_), 0.0);
    waitFor(milliseconds(static_cast<std::int64_t>(early * 1000)));
}

Process Soak::process() const {
    return {.residentKiB = daemon_.residentKiB(),
            .descriptors = daemon_.descriptors().size(),
            .threads = daemon_.threadCount()};
}

std::size_t Soak::explainedDescriptors() const {
    return start_.descriptors + report.counts.failedByAddress + printed.imagesLeftOpen;
}

std::size_t Soak::explainedKiB() const {
    const Counts& counts = report.counts;
    return start_.residentKiB + kHeapsKiB + kConnectionKiB * counts.connections +
           kReaderMoreKiB * counts.readers + kListerMoreKiB * counts.listers +
           kReplyKiB * printed.repliesLeft;
}

void Soak::compareProcess() {
    const Process now = process();
    const auto compare = [&](const char* what, std::size_t is, std::size_t explained) {
        report.notKept(std::string(what) + ": " + std::to_string(is) + ", and explained are " +
                       std::to_string(explained));
    };
    if (now.descriptors != explainedDescriptors()) {
        compare("open descriptors", now.descriptors, explainedDescriptors());
    }
    if (now.residentKiB > explainedKiB()) {
        compare("KiB of resident memory", now.residentKiB, explainedKiB());
    }
    const std::uint64_t bad =
        report.injected(Fault::kImageBad) + report.injected(Fault::kImageForOthers);
    if (printed.imagesLeftOpen > bad) {
        compare("images left open", printed.imagesLeftOpen, bad);
    }
}

void Soak::printReport() {
    const bool alive = daemon_.isRunning();
    if (!alive) {
        const bed::Exit exit = daemon_.awaitExit();
        report.notKept("the daemon has ended, " +
                       std::string(exit.bySignal ? "by signal " : "with exit status ") +
                       std::to_string(exit.code) + ", having said: " + daemon_.errors().all());
    }
    report.printFaults(countDeviceFaults(requestLog(options_)));
    rusage own{};
    ::getrusage(RUSAGE_SELF, &own);
    report.printNumbers({.repliesLeft = printed.repliesLeft,
                         .start = start_,
                         .end = alive ? process() : Process{},
                         .descriptorsExplained = explainedDescriptors(),
                         .residentExplainedKiB = explainedKiB(),
                         .heard = requests_.seen(),
                         .datagrams = countDatagrams(),
                         .alive = alive,
                         .seconds = secondsSince(begin_),
                         .cpuSeconds = cpuSeconds(own) + cpuSecondsOf(fleet_->pid()) +
                                       (alive ? cpuSecondsOf(daemon_.pid()) : 0)});
}

}  // namespace soak
