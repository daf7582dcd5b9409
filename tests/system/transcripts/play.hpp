// A daemon from its start, and what comes of the lines that it is sent.
#pragma once

#include <string>

#include "bed/cable.hpp"
#include "bed/console.hpp"
#include "bed/daemon.hpp"
#include "bed/namespaces.hpp"
#include "bed/segment.hpp"
#include "bed/transcript.hpp"

class Play {
  public:
    Play();

    /// Sends a line and waits for its answer.
    bed::Recorded exchange(const std::string& line);

    bed::Namespaces& namespaces() { return namespaces_; }

  private:
    /// What the daemon has printed since the last call.
    std::string printedSinceLast();

    bed::Namespaces namespaces_;
    bed::Cable cable_;
    bed::Daemon daemon_;
    bed::Console console_;
    bed::Segment segment_;
    std::size_t seen_ = 0;
};
