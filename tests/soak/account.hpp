// The account: what the daemon has been given, what must be seen of it for that, and what it may
// have kept. Nothing here looks at answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "soak/bed.hpp"
#include "soak/lines.hpp"
#include "soak/report.hpp"
#include "soak/tally.hpp"
#include "soak/watch.hpp"

namespace soak {

/// What a connection has been used for at the most: the more, the more memory it has touched.
enum class Use : std::uint8_t { kLight, kReading, kListing };

class Account {
  public:
    Account(Bed& bed, Printed& printed, Report& report)
        : bed_(bed), printed_(printed), report_(report) {}

    /// Notes that a line is carried out: always, or (least 0) perhaps.
    void expect(const Line& line, int least = 1);
    /// The same for bytes that hold no command.
    void expectUnknown(const std::string& bytes, int least = 1);

    /// A connection has been closed, or is about to be.
    void countEnded(Use use = Use::kLight);

    /// Takes in the requests that have left so far.
    void hear();
    /// Waits until every request that is expected has left.
    void awaitRequests();
    /// Waits until no connection is open but the one that stays. What the others sent has been
    /// carried out then.
    void awaitIdle();

    /// What the daemon has of the system now is what it began with.
    void begin() { start_ = bed_.process(); }
    /// Compares all that was seen with all that was expected, when nothing is under way; reports
    /// what differs, and begins anew.
    void settle();

    /// The part of the time that has to have passed for the connections that there were.
    double shareUsed() const;

    const Process& start() const { return start_; }
    std::uint64_t requestsHeard() const { return requests_.seen(); }
    std::size_t explainedDescriptors() const;
    std::size_t explained_kib() const;

  private:
    void compareProcess();

    Bed& bed_;
    Printed& printed_;
    Report& report_;
    Tally requests_;
    Process start_;
};

}  // namespace soak
