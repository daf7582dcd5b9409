#include "load/bed.hpp"

#include <fcntl.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "bed/wait.hpp"
#include "system/families/answers.hpp"

namespace load {

namespace {

/// The main thread, the listener and the thread of one connection.
constexpr std::size_t kIdleThreads = 3;

bed::DaemonOptions optionsFor(Words words, const avoip::Descriptor& nowhere,
                              const std::string& program,
                              const std::vector<std::string>& arguments) {
    bed::DaemonOptions options;
    options.program = program;
    options.arguments = arguments;
    options.standardOutput = words == Words::kKept ? -1 : nowhere.get();
    return options;
}

std::string identity(std::size_t number) {
    return "id" + std::to_string(kCommandsMax + number).substr(1);
}

}  // namespace

LoadBed::LoadBed(Words words, const std::string& program, const std::vector<std::string>& arguments)
    : nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC)),
      daemon(optionsFor(words, nowhere, program, arguments)) {
    const std::string line = "hello!";
    if (segment.ask(console, line) != families::failure(line)) {
        throw bed::Error("the daemon does not answer as it should");
    }
}

Footprint LoadBed::footprint() const {
    std::ifstream maps("/proc/" + std::to_string(daemon.pid()) + "/maps");
    const auto mappings = std::count(std::istreambuf_iterator<char>(maps), {}, '\n');
    return {daemon.resident_kib(), daemon.descriptors().size(), static_cast<std::size_t>(mappings)};
}

void LoadBed::awaitIdle() const {
    bed::awaitCondition("the connections to end",
                        [this] { return daemon.threadCount() == kIdleThreads; });
}

std::string commandLine(std::size_t number) {
    return "device showme " + identity(number) + "!";
}

std::string commandRequest(std::size_t number) {
    return families::showmeRequest(identity(number));
}

std::string askCommand(bed::FrontEnd& frontEnd, std::size_t number,
                       std::chrono::milliseconds patience) {
    const auto answer = frontEnd.ask(commandLine(number), patience);
    const std::string text = answer == nullptr ? frontEnd.explanation() : answer.get();
    return text == kCommandAnswer ? "" : text;
}

Finding measure(const LoadBed& bed, const std::function<void()>& act) {
    Finding finding;
    finding.before = bed.footprint();
    const auto begin = std::chrono::steady_clock::now();
    act();
    finding.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    finding.after = bed.footprint();
    return finding;
}

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t behind = 3; behind < digits.size(); behind += 4) {
        digits.insert(digits.size() - behind, ",");
    }
    return digits;
}

void addLoss(std::string& lost, std::size_t count, const std::string& what) {
    if (count > 0) {
        lost += (lost.empty() ? "" : ", ") + grouped(count) + " " + what;
    }
}

}  // namespace load
