// Connections that disturb without an answer: they never send the end of a line that the daemon
// would answer. Those that are open stay open from one step to the next.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "bed/console.hpp"
#include "soak/random.hpp"
#include "soak/soak.hpp"

namespace soak {

class SilentNoise {
  public:
    explicit SilentNoise(Soak& soak) : soak_(soak) {}
    ~SilentNoise();

    SilentNoise(const SilentNoise&) = delete;
    SilentNoise& operator=(const SilentNoise&) = delete;

    /// One thing of many: a connection comes, goes or sends some bytes.
    void step(Random& random);

    /// Slow writers that would end their line next, so that they can take their turn; each is asked
    /// for its answer.
    void finishLines();

  private:
    /// A connection whose line comes a few bytes at a time.
    struct SlowWriter {
        bed::Console console;
        Line line;
        std::size_t sent = 0;
        /// How many bytes it sends before it goes; all for one that waits for an answer.
        std::size_t until = 0;
        bool isComplete() const { return until == line.text.size(); }
    };

    void endUnfinished(Random& random, Fault kind);
    void sendExit(Random& random);
    void beginSlowly(Random& random);
    void trickle(Random& random);

    Soak& soak_;
    std::list<SlowWriter> writers_;
};

/// Bytes of all values.
std::string garbage(Random& random, std::size_t size);

}  // namespace soak
