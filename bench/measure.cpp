#include "bench/measure.hpp"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>

#include "bed/wait.hpp"

namespace bench {

namespace {

double read_us(clockid_t clock) {
    timespec time{};
    if (::clock_gettime(clock, &time) != 0) {
        bed::throwSystemError("a clock cannot be read");
    }
    return microseconds(time);
}

}  // namespace

double now_us() {
    return read_us(CLOCK_MONOTONIC);
}

double wallClock_us() {
    return read_us(CLOCK_REALTIME);
}

double microseconds(const timespec& time) {
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double cpu_us(pid_t process) {
    clockid_t clock{};
    errno = ::clock_getcpuclockid(process, &clock);
    if (errno != 0) {
        bed::throwSystemError("no processor clock of process " + std::to_string(process));
    }
    return read_us(clock);
}

double percentile(std::vector<double> values, double share) {
    const auto last = static_cast<double>(values.size() - 1);
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(last * share);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

double median(const std::vector<double>& values) {
    return percentile(values, 0.5);
}

double medianRatio(const std::vector<double>& of, const std::vector<double>& by) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < of.size(); ++i) {
        ratios.push_back(of[i] / by[i]);
    }
    return median(ratios);
}

std::string number(double value, int digits) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

void printRow(const std::string& what, const std::string& daemon, const std::string& floor,
              const std::string& compared, const std::string& goal) {
    std::printf("| %s | %s | %s | %s | %s |\n", what.c_str(), daemon.c_str(), floor.c_str(),
                compared.c_str(), goal.c_str());
    std::fflush(stdout);
}

std::string goal(const std::string& what, bool isMet) {
    return what + (isMet ? ": met" : ": **missed**");
}

std::string atMost(double most, double value, const std::string& unit) {
    const int digits = most == static_cast<int>(most) ? 0 : 1;
    return goal("at most " + number(most, digits) + unit, value <= most);
}

int run(const char* name, void (*work)()) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        work();
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s: %s\n", name, problem.what());
        return 1;
    }
    return 0;
}

}  // namespace bench
