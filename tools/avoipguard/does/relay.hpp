// Lines on their way to one of this process's own outputs, without ever waiting for whoever reads
// there: the daemon stands still when nobody reads what it prints, so that it is always read here.
//
// What the daemon prints is passed on line by line, escaped (escape.hpp). A line that has no end
// yet is kept back until it has one, up to 16 KiB. When 256 KiB are on their way, lines are dropped
// until half of that is gone; then a line says how many.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "lib/base/descriptor.hpp"

namespace avoip::guard {

struct Relay {
    /// Opened for writing without waiting, where the output itself cannot be used so.
    Descriptor own;
    int target = -1;
    bool isSocket = false;
    std::string begun;  ///< a line without its end
    std::string queue;  ///< whole lines
    std::size_t dropped = 0;
    bool isDropping = false;
};

/// A relay to the descriptor `output`, which stays the caller's.
Relay Relay_open(int output);

/// Takes what the daemon has printed.
void Relay_take(Relay& relay, std::string_view bytes);

/// Ends the line that has no end yet: nothing more comes.
void Relay_endLine(Relay& relay);

/// Takes one line of this process's own; what could disturb a terminal is escaped here too.
void Relay_line(Relay& relay, std::string_view line);

/// Writes what can be written now. What goes to a reader that is gone is lost without a word.
void Relay_write(Relay& relay);

/// Whether there is something to write.
bool Relay_isWaiting(const Relay& relay);

}  // namespace avoip::guard
