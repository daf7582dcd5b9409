// The load figures: what the daemon bears, on the daemon as it is built for a device, in the bed's
// private network. Each figure is one function here, and gives one row of the table that
// scripts/measure load prints. They throw a bed::Error where they cannot be measured at all.
#pragma once

#include <cstddef>
#include <string>

namespace load {

/// What the daemon takes up at one moment.
struct Footprint {
    std::size_t resident_kib = 0;
    std::size_t descriptors = 0;
    std::size_t mappings = 0;
};

/// What a figure found.
struct Finding {
    /// What was done and what came of it.
    std::string done;
    /// What was lost on the way; empty for nothing.
    std::string lost;
    /// Whether a loss breaks a promise of the daemon.
    bool isPromised = true;
    double seconds = 0;
    Footprint before;
    Footprint after;
};

/// The most commands a figure can tell apart.
inline constexpr std::size_t kCommandsMax = 1'000'000;

/// One connection asks `commands` one-way commands in the front end's way, one by one. Each has an
/// identity of its own; its answer is compared and its datagram counted.
Finding oneConnection(std::size_t commands);

/// Fifty connections at once send `commands` one-way commands each, without waiting for answers.
/// Each datagram is counted where it arrives and where it leaves.
Finding fiftyConnections(std::size_t commands);

/// `connections` one after the other, each for one command: what each closed one leaves behind.
/// Each command's answer is compared and its datagram counted.
Finding connections(std::size_t connections);

/// Connections one after the other, `most` at most, until one is not served; then whether the
/// connections that stand are served still.
Finding connectionsUntilRefused(std::size_t most);

/// `connections` one after the other, each for one command, to a daemon that avoipguard replaces
/// whenever it is worn: that each command is answered and carried out once, and what a front end
/// without the library sees of the replacing.
Finding guardedConnections(std::size_t connections);

/// Connections one after the other until the guard has replaced the daemon three times, `most` at
/// most. The environment variables AVOIPGUARD and AVOIPD may name other builds, such as those for
/// another processor with what emulates it.
Finding guardedThreeRestarts(std::size_t most);

/// As guardedConnections(), with no more addresses than a 32-bit processor has, and no other front
/// end.
Finding guardedLittleSpace(std::size_t connections);

/// A fleet of 1,024 answers discovery in one burst, `rounds` times.
Finding burst(std::size_t rounds);

/// The same with a daemon that has no privilege, and so no larger a receive queue than the system
/// gives to everyone.
Finding burstUnprivileged(std::size_t rounds);

}  // namespace load
