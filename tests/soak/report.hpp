// What the soak program has done and seen, and the two tables that say so.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "soak/watch.hpp"

namespace soak {

/// What is done to the daemon on purpose.
enum class Fault : std::uint8_t {
    kLeave,
    kResetAtOnce,
    kHalfLine,
    kHalfLineReset,
    kGarbage,
    kExitLine,
    kSlowLine,
    kSlowLineLeft,
    kLongLine,
    kVisitor,
    kCrowdLeave,
    kCrowdReset,
    kCrowdGarbage,
    kCrowdLongLine,
    kAddressLost,
    kLinkLost,
    kAddressLostWaiting,
    kUploadStalled,
    kImageGood,
    kImageBad,
    kImageForOthers,
    kCount,
};

struct Process {
    std::size_t resident_kib = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

struct Counts {
    std::uint64_t phases = 0;
    std::uint64_t asked = 0;           ///< Commands of the undisturbed front ends.
    std::uint64_t answered = 0;        ///< Answers to them, each the only one and a right one.
    std::uint64_t withData = 0;        ///< Of them, those with data, each compared with replies.
    std::uint64_t stale = 0;           ///< Of these, those with an older reply's data.
    std::uint64_t overwritten = 0;     ///< Of an upload and another line, one the other.
    std::uint64_t lines = 0;           ///< Commands of those in crowds.
    std::uint64_t oneWay = 0;          ///< One-way commands that must be carried out.
    std::uint64_t oneWayRequests = 0;  ///< The datagrams of those.
    std::uint64_t connections = 0;     ///< Ended.
    std::uint64_t readers = 0;         ///< Of them, those that have read a device's reply,
    std::uint64_t listers = 0;         ///< and those that have listed devices.
    std::uint64_t failedByAddress = 0;
};

class Report {
  public:
    Counts counts;

    void inject(Fault fault) { ++injected_.at(static_cast<std::size_t>(fault)); }
    std::uint64_t injected(Fault fault) const {
        return injected_.at(static_cast<std::size_t>(fault));
    }

    /// A promise that was not kept; printed at once.
    void notKept(const std::string& what);
    bool allKept() const { return findings_ == 0; }

    void printFaults(const DeviceFaults& devices) const;
    struct Numbers {
        std::uint64_t repliesLeft = 0;
        Process start;
        Process end;
        std::size_t descriptorsExplained = 0;
        std::size_t residentExplained_kib = 0;
        std::uint64_t heard = 0;
        Datagrams datagrams;
        bool alive = false;
        double seconds = 0;
        double cpu_s = 0;
    };
    void printNumbers(const Numbers& numbers) const;

  private:
    std::array<std::uint64_t, static_cast<std::size_t>(Fault::kCount)> injected_{};
    std::uint64_t findings_ = 0;
};

}  // namespace soak
