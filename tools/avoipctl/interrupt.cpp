#include "avoipctl/interrupt.hpp"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace avoip::ctl {
namespace {

std::atomic<const char*> saidText = nullptr;
std::atomic<bool> silent = false;
static_assert(std::atomic<const char*>::is_always_lock_free, "a signal handler reads it");

void write(const char* text) {
    // Nobody is left to be told of a failure.
    [[maybe_unused]] const auto count = ::write(STDERR_FILENO, text, std::strlen(text));
}

/// The signal is raised once more, and ends the process when this returns.
void onInterrupt(int signal) {
    if (::isatty(STDERR_FILENO) != 0) {
        // Behind the "^C" that the terminal shows.
        write("\n");
    }
    const char* const text = saidText.load();
    if (text != nullptr && !silent) {
        write("avoipctl: Interrupted. ");
        write(text);
        write("\n");
    }
    ::raise(signal);
}

}  // namespace

void Interrupt_install() {
    struct sigaction before {};
    ::sigaction(SIGINT, nullptr, &before);
    if (before.sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    // Once only: behind the text comes the end.
    action.sa_flags = SA_RESETHAND;
    ::sigaction(SIGINT, &action, nullptr);
}

InterruptText::InterruptText(const char* text) : before_(saidText.exchange(text)) {}

InterruptText::~InterruptText() {
    saidText.store(before_);
}

void Interrupt_silence() {
    silent = true;
}

void Interrupt_say(const char* text) {
    saidText.store(text);
}

}  // namespace avoip::ctl
