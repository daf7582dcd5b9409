// The question that a fresh daemon is asked, in the turn that front ends take: a line that no
// command matches. It is answered with its own text, and nothing is sent to any device. It is asked
// when no front end is connected yet, and not at all when front ends have had the turn for half a
// second.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "avoipguard/does/kept_console.hpp"
#include "lib/frontend/segment.hpp"
#include "lib/frontend/turn.hpp"

namespace avoip::guard {

/// The turn, while this process has it.
using HeldTurn = std::unique_ptr<Turn>;

/// Takes the turn if it can be had within so many milliseconds; true when it is held then.
bool HeldTurn_take(HeldTurn& turn, std::int64_t timeout_ms);

struct Question {
    /// Answered; or not to be asked, since front ends are at work already.
    bool isSettled = false;
    std::int64_t begun_ms = -1;  ///< when it was first to be asked
    std::int64_t asked_ms = -1;  ///< when it was last asked
    int timesAsked = 0;
    std::optional<Segment> segment;
};

/// Asks, or looks for the answer; any answer will do, since only this daemon can have posted it. A
/// front end that takes no turns may have cleared it away, so the question is asked once more every
/// half second. The turn is taken for it and stays held.
void Question_look(Question& question, HeldTurn& turn, KeptConsole& console, std::int64_t now_ms);

/// How long the question has had no answer.
std::int64_t Question_unanswered_ms(const Question& question, std::int64_t now_ms);

}  // namespace avoip::guard
