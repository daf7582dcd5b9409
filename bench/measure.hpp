// What all benchmarks share: clocks, the summary of many values, and the rows of the one table that
// scripts/measure bench prints.
#pragma once

#include <sys/types.h>
#include <time.h>

#include <string>
#include <vector>

namespace bench {

/// The monotonic clock, in microseconds.
double now_us();

/// The clock by which the system says when a datagram came, in microseconds.
double wallClock_us();

double microseconds(const timespec& time);

/// The processor time that a running process has used so far, all its threads, user and system, in
/// microseconds.
double cpu_us(pid_t process);

/// The value below which `share` (0 to 1) of the values lie; of at least one value.
double percentile(std::vector<double> values, double share);
double median(const std::vector<double>& values);

/// The median of `of[i] / by[i]`. Contenders take turns, so that whatever slows the machine down
/// for a moment slows both sides of one ratio.
double medianRatio(const std::vector<double>& of, const std::vector<double>& by);

/// A number with so many digits behind its point.
std::string number(double value, int digits);

/// Prints a row of the table: what was measured, the daemon's value, the bare floor's, how they
/// compare, and the goal for that; empty where there is none. Lines are Markdown.
void printRow(const std::string& what, const std::string& daemon, const std::string& floor,
              const std::string& compared, const std::string& goal = "");

/// A goal and what became of it: "none lost: met" or "none lost: **missed**".
std::string goal(const std::string& what, bool isMet);
/// The same for a value that is to be at most so much: "at most 64 KiB: met".
std::string atMost(double most, double value, const std::string& unit = "");

/// Runs a benchmark's work. An exception's text goes to standard error behind `name`.
/// @return the program's exit status: 0, or 1 after an exception
int run(const char* name, void (*work)());

}  // namespace bench
