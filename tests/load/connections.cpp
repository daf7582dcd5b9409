// Many connections, one after the other: what each leaves behind, and how many there can be.
#include <array>
#include <chrono>
#include <cstdio>
#include <string>

#include "load/bed.hpp"
#include "load/ear.hpp"
#include "system/families/answers.hpp"

namespace load {

namespace {

using namespace std::chrono_literals;

/// A connection that is not served within this time is not served at all.
constexpr auto kServedWithin = 5s;

/// What each of `connections` left behind, in resident memory and in mappings.
std::string leftByEach(const Finding& finding, std::size_t connections) {
    const auto each = [&](std::size_t before, std::size_t after) {
        return (static_cast<double>(after) - static_cast<double>(before)) /
               static_cast<double>(connections);
    };
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), "%.1f KiB and %.2f mappings left by each (%zu to %zu)",
                  each(finding.before.resident_kib, finding.after.resident_kib),
                  each(finding.before.mappings, finding.after.mappings), finding.before.mappings,
                  finding.after.mappings);
    return text.data();
}

/// Asks for one command on a connection of its own; false when it got no or another answer.
bool isServed(std::size_t number, std::string& explanation) {
    bed::FrontEnd frontEnd;
    explanation = askCommand(frontEnd, number, kServedWithin);
    return explanation.empty();
}

}  // namespace

Finding connections(std::size_t connections) {
    const LoadBed bed;
    Ear ear(bed.namespaces, connections);
    std::size_t unserved = 0;
    std::string explanation;
    Finding finding = measure(bed, [&] {
        for (std::size_t i = 0; i < connections && unserved == 0; ++i) {
            unserved += isServed(i, explanation) ? 0 : 1;
        }
        bed.awaitIdle();
    });
    finding.done = grouped(connections) +
                   " connections one after the other, each for one command: " +
                   leftByEach(finding, connections);
    finding.lost = ear.finish();
    addLoss(finding.lost, unserved, "connection not served: " + explanation);
    return finding;
}

Finding connectionsUntilRefused(std::size_t most) {
    LoadBed bed(Words::kKept);
    std::size_t served = 0;
    std::string explanation;
    Finding finding = measure(bed, [&] {
        while (served < most && isServed(served, explanation)) {
            ++served;
        }
    });
    finding.done = grouped(served) +
                   " connections were served one after the other: " + leftByEach(finding, served);
    if (served < most) {
        const std::string printed = bed.daemon.output().all();
        finding.done +=
            ". The next one heard \"" + explanation + "\"; the daemon's last words: \"" +
            printed.substr(printed.rfind("pBuffData")) + bed.daemon.errors().all() + "\"";
    }
    const bool goesOn =
        bed.segment.ask(bed.console, "hello again!") == families::failure("hello again!") &&
        bed.segment.ask(bed.console, commandLine(served)) == kCommandAnswer;
    addLoss(finding.lost, goesOn ? 0 : 1, "connection that stood before, and is served no more");
    return finding;
}

}  // namespace load
