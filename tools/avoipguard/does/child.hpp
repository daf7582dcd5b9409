// The daemon as a child: starting it and ending it.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <string>

#include "lib/base/descriptor.hpp"

namespace avoip::guard {

struct Child {
    pid_t pid = 0;  ///< 0 when there is none
    /// Where what it prints can be read, without waiting.
    Descriptor output;
    Descriptor errors;
};

/// Starts the program without arguments. It dies with this process, gets this one's environment but
/// what the service manager has put there for this process, and /dev/null as its input. Without a
/// child, `problem` says why.
Child Child_start(const std::string& program, std::string& problem);

/// Takes from the daemon the precedence over other processes that it has from this one: it is for
/// its start, while front ends find no console.
void Child_endPrecedence(pid_t pid);

/// Kills the daemon and closes the socket that it listens with, so that a new one can listen while
/// the system still clears up behind the old one, which takes a moment when it has used up much.
/// `listener` is the number of that descriptor in the daemon; -1 when it is not known.
void Child_kill(pid_t pid, int listener);

/// How the daemon has ended, as a sentence.
std::string Child_endText(const siginfo_t& end);

}  // namespace avoip::guard
