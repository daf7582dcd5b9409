// What the soak program stands on: the network, the fleet, the daemon and a front end that nobody
// disturbs; and the account of what the daemon must have done and may have kept.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "bed/cable.hpp"
#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/front_end.hpp"
#include "bed/image_file.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "lib/base/descriptor.hpp"
#include "soak/lines.hpp"
#include "soak/report.hpp"
#include "soak/tally.hpp"
#include "soak/watch.hpp"

namespace soak {

struct Options {
    double minutes = 5;
    std::uint64_t seed = 1;
    /// The folder for what the programs print and log.
    std::string logs = ".";
};

/// Encoders that stop to read what is uploaded to them: 1 to this.
inline constexpr int kStallingEncoders = 4;

/// What a connection has been used for at the most: the more, the more memory it has touched.
enum class Use : std::uint8_t { kLight, kReading, kListing };

class Soak {
  public:
    explicit Soak(const Options& options);

    /// Waits a little, so that the whole run leaves most of the machine to others. False when the
    /// time is over or the program has been interrupted: no more is to be begun then.
    bool pause();

    /// A number that no line has had yet.
    std::uint64_t number() { return ++number_; }

    /// Asks through the front end library, on the connection that stays or on one that comes and
    /// goes; expects all that must come of the line, and reports what is wrong with its answer.
    void ask(const Line& line) { askThrough(frontEnd_, line); }
    void askAsVisitor(const Line& line);

    /// Clears the segment, calls `send`, which sends the end of `line`, and judges the answer. For
    /// lines that the front end library would not send so.
    void askBy(const Line& line, const std::function<void()>& send);

    /// The same for a line that `send` sends behind others: their answers come before its own,
    /// which is a failure that no other line has.
    void askBehindOthers(const Line& line, const std::function<void()>& send);

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

    void removeAddress();
    void addAddress();
    void linkDown();
    void linkUp();

    /// An upload on a connection of its own runs from now on; its answer may come at any time, and
    /// is told from others by its text.
    void beginUpload(const Line& line);
    /// Its connection has ended; judges its answer, if that has not been seen yet. `amongOthers`:
    /// it ended while others were asked for, so that one of those may have overwritten it.
    void endUpload(bool amongOthers);

    /// Waits until no connection is open but the one that stays, and clears the segment: behind
    /// connections that have not taken turns.
    void forgetAnswers();

    /// Waits until no connection is open but the one that stays, and compares all accounts.
    void settle();

    /// The tables. Everything must have been settled.
    void printReport();

    Report report;
    Printed printed;

  private:
    /// Takes the answer that stands in the segment, waited for.
    std::string takeAnswer();
    /// Reports an answer that is there though nobody has asked.
    void checkSegment();
    /// Waits until the answer of `line` stands there, a failure that no other line has; clears it.
    void awaitLast(const Line& line);
    std::string answerTo(const Line& line, const std::function<void()>& send);
    void judge(const Line& line, const std::string& answer);
    void askThrough(bed::FrontEnd& frontEnd, const Line& line);
    bool isAnswerOfUpload(const std::string& answer);
    void awaitIdle();
    void compareProcess();
    void paceConnections();
    Process process() const;
    std::size_t explainedDescriptors() const;
    std::size_t explainedKiB() const;
    bool waitFor(std::chrono::milliseconds time);

    Options options_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    avoip::Descriptor interrupts_;
    bool isOver_ = false;
    bed::Namespaces namespaces_;
    bed::Cable cable_;
    std::unique_ptr<bed::Daemon> fleet_;
    bed::Daemon daemon_;
    bed::Segment segment_;
    bed::FrontEnd frontEnd_;
    Tally requests_;
    std::uint64_t number_ = 0;
    bool devicesCanBeReached_ = true;
    /// The upload whose answer is still to come.
    const Line* upload_ = nullptr;
    Process start_;
};

}  // namespace soak
