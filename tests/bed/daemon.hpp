// A program as a child of the test, by default avoipd, in the namespaces of the calling thread.
//
// Its standard output and standard error are kept apart and to the byte. It never outlives the
// object, nor the thread that made the object. When a test has failed by the time the object goes,
// what the program wrote is shown.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bed/stream.hpp"
#include "lib/base/descriptor.hpp"

namespace bed {

struct DaemonOptions {
    /// The program's path; empty for avoipd as it was built with the tests.
    std::string program;
    std::vector<std::string> arguments;
    /// "NAME=value" texts, added to the test's own environment or in place of it.
    std::vector<std::string> environment;
    /// Resource and limit, soft and hard, such as {RLIMIT_NOFILE, 4}.
    std::vector<std::pair<int, rlim_t>> limits;
    /// Where standard output goes instead of being kept; -1 to keep it. Stays the caller's.
    int standardOutput = -1;
    /// All descriptor numbers below this one are taken when the program starts, so that its own
    /// begin here. Above 3 only; the limit on descriptors is raised as far as needed.
    int firstDescriptor = 3;
    /// Descriptors that are closed when the program starts, of the three that it otherwise has.
    std::vector<int> closed;
    /// Starts the program at the head of a session of its own, as service managers do: it could get
    /// a controlling terminal.
    bool ownSession = false;
    /// With a session of its own, the terminal that controls it and is its standard input; -1 for
    /// none. Stays the caller's.
    int terminal = -1;
};

/// How a program ended: the exit status, or the signal that ended it.
struct Exit {
    bool bySignal = false;
    int code = 0;
    bool operator==(const Exit&) const = default;
};

class Daemon {
  public:
    /// Starts the program, with all signals as they are by default. It is not ready to serve yet
    /// when this returns: await its output, or connect a Console.
    explicit Daemon(const DaemonOptions& options = {});

    /// Kills the program and whatever it has started, if they still run.
    ~Daemon();

    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    Stream& output() { return output_; }
    Stream& errors() { return errors_; }
    /// The usual wait: until standard output holds `text`, behind what was awaited before.
    void awaitOutput(std::string_view text) { output_.await(text); }
    void awaitError(std::string_view text) { errors_.await(text); }

    pid_t pid() const { return pid_; }
    /// Whether it still runs.
    bool isRunning() const;
    /// Its open descriptors: number and what it refers to, such as "socket:[4711]".
    std::map<int, std::string> descriptors() const;
    /// One of its descriptors, as one of the test's own: for what only the system knows of it.
    avoip::Descriptor borrow(int number) const;
    /// Its resident memory, exactly.
    std::size_t resident_kib() const;
    std::size_t threadCount() const;
    /// A number that the system keeps of it, by its name in /proc/PID/status.
    std::size_t statusNumber(const std::string& name) const;
    /// Whether a terminal controls it: one that raises signals, its hangup among them.
    bool hasControllingTerminal() const;

    /// Sends it a signal, then waits for its end as awaitExit does.
    Exit stop(int signal);
    /// Waits until it has ended and all it wrote has been read. Throws when it does not end.
    Exit awaitExit();

  private:
    std::string processPath(const char* name) const;

    pid_t pid_ = -1;
    avoip::Descriptor process_;
    Stream output_;
    Stream errors_;
    std::jthread reader_;
};

}  // namespace bed
