// Reading from devices so that what is read is what they said when they were asked.
//
// The reply of a device carries no mark of the request that it answers, and the daemon hands the
// first reply in its socket to whoever asks next. One reply that comes late or twice therefore
// shifts every later one by a question: each device then seems to say what the one before it said.
// So reads are asked in batches that show whether this has happened:
//
//   - A batch concerns one device. It may hold several reads, each of another kind. Replies of one
//     device come in the order in which it was asked; those of two devices overtake each other, and
//     what one of them still owes would go unseen behind the other's.
//   - It begins with nothing in the daemon's socket: behind a listing, which takes out whatever
//     comes until there is silence, or behind a batch that closed well.
//   - It ends with a closing question to the same device, of another kind, whose answer holds
//     something that the device says of itself. If a reply too many was in the socket,
//     the closing question gets a reply of another kind, and fails; a stray reply of its own kind
//     names another device.
//   - Where a read or the closing question fails, everything that the batch has read counts for
//     nothing, a listing empties the socket, and it is asked again, a few times at most.
//
// What this cannot see is two faults that undo each other: a reply that comes a second time when
// its batch has closed already, and the reply to the same question to the next device that gets
// lost. confirm.hpp asks twice.
//
// Pure: everything outside is behind the Ask. Not for two threads at once.
#pragma once

#include <functional>
#include <span>
#include <vector>

#include "lib/client/fleet.hpp"
#include "lib/client/reply.hpp"

namespace avoip {

struct Reader {
    Ask ask;
    /// Whether nothing waits in the daemon's socket, as far as anybody knows. Whoever asks
    /// something that reads without going through here sets it to false before that.
    bool clean = false;
    Fleet fleet = {};
    /// How often a batch is asked at most. One fault needs two rounds as a rule and three at most.
    int rounds = 3;
    /// Told of every list of devices; may be left empty.
    std::function<void(const Command& listing, const Answer& answer)> listed = {};
};

struct Batch {
    /// kSuccess when the batch closed well. Else what went wrong last.
    Reply outcome;
    /// The replies in the order of the reads, all of them successes; none when it did not close
    /// well.
    std::vector<Reply> replies = {};
};

/// Asks a listing command, and learns from its success answer.
Reply Reader_list(Reader& reader, const Command& listing);

/// Learns from the success answer to a listing command: which devices there are, and that the
/// socket is empty.
void Reader_learn(Reader& reader, const Command& listing, const Answer& answer);

/// Asks reads (commands of ExchangeKind::kReading) of one device, no two of them the same command.
Batch Reader_read(Reader& reader, std::span<const Request> reads);

}  // namespace avoip
