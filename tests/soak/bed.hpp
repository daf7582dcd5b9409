// What the soak program stands on: the network, the fleet, the daemon and a front end that nobody
// disturbs; and the time that the whole may take.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "bed/cable.hpp"
#include "bed/daemon.hpp"
#include "bed/front_end.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "lib/base/descriptor.hpp"
#include "soak/report.hpp"

namespace soak {

struct Options {
    double minutes = 5;
    std::uint64_t seed = 1;
    /// The folder for what the programs print and log.
    std::string logs = ".";
};

/// Encoders that stop to read what is uploaded to them: 1 to this.
inline constexpr int kStallingEncoders = 4;

class Bed {
  public:
    /// @param output  where the daemon prints to
    Bed(const Options& options, int output);

    /// Waits a little, so that the whole run leaves most of the machine to others. False when the
    /// time is over or the program has been interrupted: no more is to be begun then.
    bool pause();
    /// Waits until this share (0 to 1) of the time has passed, or the program is interrupted.
    void awaitShare(double share);
    double secondsGone() const;

    /// A number that no line has had yet.
    std::uint64_t number() { return ++number_; }

    void removeAddress();
    void addAddress();
    void linkDown();
    void linkUp();
    bool devicesCanBeReached() const { return devicesCanBeReached_; }
    bool hasAddress() const { return hasAddress_; }

    /// What the daemon has of the system.
    Process process() const;
    /// What this program, the fleet and the daemon, while it runs, have used of the processors.
    double cpu_s() const;
    /// The fleet's log.
    std::string requestLog() const;

  private:
    bool waitFor(std::chrono::milliseconds time);

    Options options_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    avoip::Descriptor interrupts_;
    bool isOver_ = false;
    bool devicesCanBeReached_ = true;
    bool hasAddress_ = true;
    std::uint64_t number_ = 0;
    bed::Namespaces namespaces_;

  public:
    bed::Cable cable;

  private:
    std::unique_ptr<bed::Daemon> fleet_;

  public:
    bed::Daemon daemon;
    bed::Segment segment;
    bed::FrontEnd frontEnd;
};

}  // namespace soak
