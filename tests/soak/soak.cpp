// Commands the daemon for minutes on end while all around it goes wrong, and holds it to what it
// promises: a fleet of 200 simulated devices with faults, front ends that disturb, a control
// interface that loses its address, uploads that stall.
//
//   soak [--minutes M] [--seed N] [--logs FOLDER]
//
// It prints two Markdown tables, at the end or when it is interrupted: what was done to the daemon,
// and what the daemon did. Exit status: 0 when every promise was kept, 1 when one was not (each is
// a line on standard error), 2 for wrong usage. The same seed draws the same actions; how many of
// them fit into the time is the machine's.
//
// HOW IT KNOWS
//
//   One thread does everything, step by step, so it knows what the daemon has been given. The
//   segment holds one answer, so what must be answered takes turns, on a connection that stays (or
//   on one that comes and goes), and what disturbs it at the same time is of kinds that post no
//   answer: unfinished lines, ended connections, lines with "exit".
//
//   - Exactly one answer: the prefix is cleared before a command and right behind its answer. An
//     answer that does not come runs out of time; one too many sets the prefix again, and is found
//     before the next command or in its place. (No front end can see a second answer that follows
//     within the millisecond before the prefix is cleared. But the daemon prints each line that it
//     carries out, and those are counted.)
//   - Data: what devices reply is heard on the cable too. Data that are in no reply, or a listing
//     without a device that had replied, is a wrong answer. A reply is taken for that of the next
//     question where one comes twice or too late: such an answer has the data of an older reply,
//     and is counted.
//   - A stalled upload answers when it ends, among other commands; its text tells its answer from
//     theirs. Should two answers overwrite each other, which can happen once for each upload, that
//     is counted, and one more command shows that both have come.
//   - Connections that do not take turns have phases of their own (crowds). Their answers are not
//     looked at; what they made the daemon carry out and send is.
//   - Exactly its datagrams: each one-way command has an identity of its own, and a listener on
//     the cable counts the datagrams by their text. For each text it is known how often it must
//     come: once (a line behind which its connection was reset: at most once). The sum is compared
//     with the system's own count of what left.
//   - Each line is carried out once: the daemon prints it, and the printed lines are counted alike.
//
//   Each phase ends when no connection is left but the one that stays; then all accounts must
//   agree, and the daemon's descriptors are exactly those at the start and those that the kept
//   behaviours explain: one for each command without an address, one for each image that was no
//   good. Resident memory must stay below what they explain: so much for each ended connection,
//   more for one that listed devices, and so much for each reply that was not released.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <random>

#include "soak/phases.hpp"
#include "soak/random.hpp"
#include "soak/soak.hpp"

namespace soak {

void settle(Soak& soak) {
    soak.account.awaitIdle();
    soak.judge.ask(unknownLine(soak.bed.number()));
    soak.judge.checkSegment();
    soak.account.settle();
    ++soak.report.counts.phases;
    soak.bed.awaitShare(soak.account.shareUsed());
}

namespace {

/// What every kind of command needs once is had when this is over.
void warmUp(Soak& soak, std::uint64_t seed) {
    Random random(seed, 0);
    for (int i = 0; i < 3; ++i) {
        soak.judge.ask(oneWayLine(random, soak.bed.number()));
        soak.judge.ask(listingLine(random));
    }
    settle(soak);
    soak.account.begin();
}

/// The tables. Everything must have been settled.
void printReport(Soak& soak) {
    bed::Daemon& daemon = soak.bed.daemon;
    const bool alive = daemon.isRunning();
    if (!alive) {
        const bed::Exit exit = daemon.awaitExit();
        soak.report.notKept("the daemon has ended, " +
                            std::string(exit.bySignal ? "by signal " : "with exit status ") +
                            std::to_string(exit.code) + ", having said: " + daemon.errors().all());
    }
    soak.report.printFaults(countDeviceFaults(soak.bed.requestLog()));
    soak.report.printNumbers({.repliesLeft = soak.printed.repliesLeft,
                              .start = soak.account.start(),
                              .end = alive ? soak.bed.process() : Process{},
                              .descriptorsExplained = soak.account.explainedDescriptors(),
                              .residentExplained_kib = soak.account.explained_kib(),
                              .heard = soak.account.requestsHeard(),
                              .datagrams = countDatagrams(),
                              .alive = alive,
                              .seconds = soak.bed.secondsGone(),
                              .cpu_s = soak.bed.cpu_s()});
}

/// False when a promise was not kept.
bool run(const Options& options) {
    Soak soak(options);
    try {
        warmUp(soak, options.seed);
        const Images images;
        runPhases(soak, options.seed, images);
    } catch (const std::exception& problem) {
        // What stands still cannot be judged any further.
        soak.report.notKept(problem.what());
    }
    printReport(soak);
    return soak.report.allKept();
}

}  // namespace
}  // namespace soak

int main(int argc, char** argv) {
    soak::Options options{.seed = std::random_device()()};
    CLI::App app("Commands avoipd while all around it goes wrong, and says what came of it.",
                 "soak");
    app.add_option("--minutes", options.minutes, "How long")
        ->check(CLI::Range(0.1, 1440.0))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "The same seed draws the same actions [any]");
    app.add_option("--logs", options.logs, "Folder for what the programs print and log")
        ->check(CLI::ExistingDirectory)
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    options.logs = std::filesystem::absolute(options.logs);
    // The lock of this run's front ends, which take turns with each other alone.
    ::setenv("AVOIP_LOCK_FILE", (options.logs + "/lock").c_str(), 1);

    std::printf("seed %llu\n", static_cast<unsigned long long>(options.seed));
    std::fflush(stdout);
    try {
        return soak::run(options) ? 0 : 1;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "soak: %s\n", problem.what());
        return 1;
    }
}
