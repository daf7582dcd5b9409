// Ctrl-C while a command runs. The process ends by the signal, as people and shells expect of it,
// but says first what goes on without it: the daemon does not hear of a Ctrl-C.
#pragma once

namespace avoip::ctl {

/// From now on SIGINT says so and ends the process; where it is ignored it stays ignored.
void Interrupt_install();

/// As long as this lives, an interrupt says `text`, which must live as long as the process; null:
/// an interrupt says nothing. Then what was said before holds again.
class InterruptText {
  public:
    explicit InterruptText(const char* text);
    InterruptText(const InterruptText&) = delete;
    InterruptText& operator=(const InterruptText&) = delete;
    ~InterruptText();

  private:
    const char* before_;
};

/// From now on an interrupt says nothing.
void Interrupt_silence();

/// Changes what the innermost InterruptText says.
void Interrupt_say(const char* text);

}  // namespace avoip::ctl
