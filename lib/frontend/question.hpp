// A command with what its answer looks like, and what stands in its way: the rules by which front
// ends leave each other's answers and replies alone.
//
// Nothing here waits, and nothing but the clocks is read.
#pragma once

#include <cstdint>

#include "lib/frontend/notes.hpp"

namespace avoip {

struct Question {
    /// What is sent, its "!" included.
    const char* command = nullptr;
    /// The names that its answers carry, at most two; the first one null: any answer counts that is
    /// not owed to somebody else.
    const char* names[2] = {nullptr, nullptr};
    /// How long its answer may still come when nobody waits for it any more.
    std::int64_t linger_ms = 15'000;
    /// How long its command may take replies of devices out of the daemon's socket; 0: it takes
    /// none.
    std::int64_t shared_ms = 15'000;
    /// When to ask with a marker whether the command is done without its answer having been seen;
    /// 0: never.
    std::int64_t markerAfter_ms = 0;
    /// Whether it may be sent although an answer with the same name is owed to somebody else. Which
    /// of the two answers is which cannot be told then.
    bool besideNamesakes = false;
};

/// Whether an answer under this name is one to the question.
bool Question_isNamed(const Question& question, std::string_view name);

/// The owed answer that the question has to wait for; null when there is none. Two commands that
/// read at once would take each other's replies.
const OwedAnswer* Question_obstacle(const Question& question, const Notes& notes);

/// The note of this question, the sender's command `number`: what is owed, from now on, when its
/// sender is killed or gives up.
OwedAnswer Question_note(const Question& question, int number);

/// Numbers of this process's questions and markers, each used once.
int Question_nextNumber();

/// A line that no command matches. The daemon answers it with its own text, when it is done with
/// the lines before it.
struct Marker {
    char line[64] = "";
    [[nodiscard]] bool isSent() const { return line[0] != '\0'; }
};

/// A marker that was never sent before.
Marker Marker_make();

}  // namespace avoip
