// What front ends tell each other in the lock file. Its text:
//
//     text   = "avoip 1" LF { line LF } "end" LF
//     line   = "daemon " INODE              of whom all of this is told
//            | "clean"                      no reply waits in the daemon's socket
//            | "owed " UNTIL " " SHARED " " PID " " NUMBER " " NAME
//            | "or " NAME                   another name for the answer of the line before
//
// INODE is that of the socket that listens on the console's port. "owed" is an answer that nobody
// has seen yet: UNTIL is when it will not come any more, SHARED until when its command may take
// replies out of the daemon's socket, both in milliseconds since the machine was started; PID and
// NUMBER tell who sent the command and which of his it is; NAME is the "cmd" that the answer will
// carry, "*" where that is not known. A text that does not end in "end" was not finished and counts
// for nothing. Lines that begin otherwise are passed over.
//
// Pure: nothing here reads a clock, a file or a process.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "lib/frontend/answer_name.hpp"

namespace avoip {

inline constexpr std::string_view kNotesBegin = "avoip 1\n";

/// More are never owed by a daemon that works; the oldest is forgotten first.
inline constexpr std::size_t kOwedMax = 16;

/// Room for the longest text of notes, and its NUL.
inline constexpr std::size_t kNotesMax = 8192;

/// The name of an answer that may carry any.
inline constexpr const char* kAnyName = "*";

struct OwedAnswer {
    std::int64_t until_ms = 0;
    std::int64_t sharedUntil_ms = 0;
    int pid = 0;
    int number = 0;
    /// One or two names, or kAnyName; an empty one is none.
    std::array<std::array<char, kNameMax + 1>, 2> names = {};
};

struct Notes {
    std::uint64_t daemon = 0;  ///< 0: not known
    bool clean = false;
    std::array<OwedAnswer, kOwedMax> owed = {};
    std::size_t owedCount = 0;
};

/// The notes in `text`; empty ones when it is none.
Notes Notes_parse(std::string_view text);

/// Writes the text of the notes and a NUL into `text`, which has room for kNotesMax bytes, and
/// gives its length.
std::size_t Notes_print(const Notes& notes, char* text);

/// Sets a name, cut to kNameMax bytes.
void OwedAnswer_setName(OwedAnswer& owed, std::size_t place, std::string_view name);

/// Whether an answer under this name may be the owed one.
bool OwedAnswer_isNamed(const OwedAnswer& owed, std::string_view name);

/// Adds an answer that is owed from now on.
void Notes_add(Notes& notes, const OwedAnswer& owed);

/// The note of the sender's command `number`; null when there is none.
OwedAnswer* Notes_find(Notes& notes, int pid, int number);

/// Forgets the note at this place of the list.
void Notes_drop(Notes& notes, std::size_t place);

/// Forgets what is over at `now_ms`, and everything when the notes are told of another daemon than
/// `daemon`: what a daemon that is gone owed never comes. The notes are told of `daemon` from then
/// on. With `daemon` 0, for one that cannot be seen, only time counts.
void Notes_lapse(Notes& notes, std::uint64_t daemon, std::int64_t now_ms);

}  // namespace avoip
