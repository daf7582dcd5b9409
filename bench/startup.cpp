// How long the daemon takes from exec until it serves its first connection, beside what the loader
// takes to start and end an empty program with the same libraries.
#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <vector>

#include "bed/console.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "bed/wait.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"

namespace {

constexpr int kRounds = 51;
constexpr double kGoalMs = 20;

/// A program without output, started at once.
pid_t start(const char* program) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::string name = program;
    char* const arguments[] = {name.data(), nullptr};
    pid_t process = -1;
    errno = ::posix_spawn(&process, program, &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (errno != 0) {
        bed::throwSystemError(std::string("cannot start ") + program);
    }
    return process;
}

/// The connection is known to be accepted when its thread has read a line and ended it.
double daemon_ms() {
    const double begin = bench::now_us();
    const pid_t process = start(bench::daemonPath().c_str());
    bed::Console console;
    console.send("exit!");
    console.awaitClosed();
    const double ended = bench::now_us();
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    return (ended - begin) / 1000;
}

double empty_ms() {
    const double begin = bench::now_us();
    ::waitpid(start(EMPTY_PATH), nullptr, 0);
    return (bench::now_us() - begin) / 1000;
}

void measure() {
    const bed::Namespaces namespaces;
    std::vector<double> daemon;
    std::vector<double> empty;
    std::vector<double> beyond;
    for (int round = 0; round < kRounds; ++round) {
        daemon.push_back(daemon_ms());
        empty.push_back(empty_ms());
        beyond.push_back(daemon.back() - empty.back());
    }
    const double medianBeyond = bench::median(beyond);
    bench::printRow("Start-up, from exec to the first connection served",
                    bench::number(bench::median(daemon), 1) + " ms",
                    bench::number(bench::median(empty), 1) + " ms",
                    bench::number(medianBeyond, 1) + " ms more",
                    bench::atMost(kGoalMs, medianBeyond, " ms more"));
}

}  // namespace

int main() {
    return bench::run("startup", measure);
}
