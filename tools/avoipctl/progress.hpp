// A sign of life on a terminal while the daemon is at work.
#pragma once

#include <iosfwd>
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

/// Writes `line` and a line end to `out`, in place of what is shown, which comes again below it.
void Progress_print(std::ostream& out, const std::string& line);

}  // namespace avoip::ctl
