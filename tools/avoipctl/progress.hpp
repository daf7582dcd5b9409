// A sign of life on a terminal while the daemon is at work.
#pragma once

#include <chrono>
#include <string>
#include <thread>

namespace avoip::ctl {

/// Shows `text` and the seconds since its beginning on standard error, anew every second, until the
/// object goes; nothing when standard error is no terminal.
class Progress {
  public:
    explicit Progress(std::string text);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

  private:
    std::jthread thread_;
};

/// Wipes what is shown, so that a line of text can stand in its place; it comes again below that.
void Progress_pass();

}  // namespace avoip::ctl
