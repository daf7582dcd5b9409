// The two contenders of a benchmark, the daemon and its bare floor, as processes that are asked in
// the front end's way. What they print goes to /dev/null.
//
// The daemon is the one built with the benchmarks, or the one whose path stands in the environment
// variable AVOIPD: for what a change has brought.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/segment.hpp"
#include "lib/base/descriptor.hpp"

namespace bench {

/// The path of the daemon that is measured.
std::string daemonPath();

/// What the bare floor is told; it does the same for every line.
struct FloorWork {
    std::string replies;  ///< How many it waits for, or "idle"; see floor.cpp.
    std::string request;
    std::string answer;
};

/// The one-way command that benchmarks use, and what the floor does for it.
inline constexpr const char* kOneWayLine = "device showme RX-0001!";
FloorWork oneWayWork();

class Server {
  public:
    /// The daemon, ready to serve, under a tool with its arguments if one is given.
    explicit Server(const std::vector<std::string>& tool = {});
    /// A bare floor, ready to serve.
    explicit Server(const FloorWork& work);

    pid_t pid() const { return program_.pid(); }
    std::size_t resident_kib() const { return program_.resident_kib(); }

    /// Interrupts the program, and the tool that it runs under, and waits for their end.
    void interrupt();

    /// A new connection.
    bed::Console connect() const { return bed::Console(port_); }

    /// Clears the prefix, sends the line in one piece, and spins until the answer stands.
    /// @return the time from there, the writing included, in microseconds: while a line is written
    ///         the server may be at work on it already
    double ask_us(bed::Console& console, const std::string& line) const;
    /// The same without a busy processor, for answers that take long: it looks every 50 us.
    void askPatiently(bed::Console& console, const std::string& line) const;

    /// The answer that stands in the segment.
    std::string answer() const { return segment_->awaitAnswer(); }

  private:
    Server(const bed::DaemonOptions& options, std::uint16_t port, key_t key);

    bed::Daemon program_;
    std::uint16_t port_;
    std::unique_ptr<bed::Segment> segment_;
};

}  // namespace bench
