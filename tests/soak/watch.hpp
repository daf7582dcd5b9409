// What can be seen of the daemon beside its answers: what it prints, the datagrams that the system
// has counted, and what the devices' log says of their faults.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "lib/base/descriptor.hpp"
#include "soak/tally.hpp"

namespace soak {

/// The daemon's standard output, which goes to a file, read as it grows.
class Printed {
  public:
    explicit Printed(const std::string& path);

    /// For the daemon to write to.
    int descriptor() const { return file_.get(); }

    /// Reads what has been printed since the last call.
    void follow();

    /// The lines that the daemon has carried out.
    Tally lines;
    /// Image files left open (kept: image-left-open).
    std::uint64_t imagesLeftOpen = 0;
    /// Replies that were not released: "parser-leak" and "routeless-reply" there.
    std::uint64_t repliesLeft = 0;
    /// Uploads that have found their device and begin.
    std::uint64_t uploadsBegun = 0;
    /// Uploads that ended because their device read no more.
    std::uint64_t uploadsBroken = 0;

  private:
    void take(std::string_view line);

    avoip::Descriptor file_;
    std::int64_t position_ = 0;
    std::string begun_;
};

/// What the system has counted of UDP datagrams, on the side of the calling thread.
struct Datagrams {
    std::uint64_t received = 0;  ///< Read by the daemon.
    std::uint64_t lost = 0;      ///< Not kept for the daemon to read.
    std::uint64_t sent = 0;
};
Datagrams countDatagrams();

/// The faults of simulated devices, and how often the log of their requests names each.
using DeviceFaults = std::array<std::pair<const char*, std::uint64_t>, 6>;
DeviceFaults countDeviceFaults(const std::string& logPath);

}  // namespace soak
