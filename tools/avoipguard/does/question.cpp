#include "avoipguard/does/question.hpp"

#include <chrono>
#include <string>
#include <thread>
#include <utility>

#include "lib/frontend/reason.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip::guard {

namespace {

constexpr std::int64_t kAskEveryMs = 500;
constexpr std::chrono::microseconds kTryEvery{50};

void ask(Question& question, KeptConsole& console, std::int64_t now_ms) {
    Reason reason;
    question.segment.emplace();
    if (question.segment->attach(Deadline_in(0), reason) != AVOIP_OK) {
        // Whether the segment is as it should be is looked at elsewhere.
        question.isSettled = true;
        return;
    }
    ++question.timesAsked;
    question.asked_ms = now_ms;
    question.segment->clearPrefix();
    const std::string line = "avoipguard asks " + std::to_string(question.timesAsked) + "!";
    KeptConsole_sendLine(console, line.c_str());
}

}  // namespace

bool HeldTurn_take(HeldTurn& turn, std::int64_t timeout_ms) {
    const Deadline deadline = Deadline_in(timeout_ms);
    while (turn == nullptr) {
        Reason reason;
        auto taken = std::make_unique<Turn>();
        if (taken->take(Deadline_in(0), reason) == AVOIP_OK) {
            turn = std::move(taken);
        } else if (Deadline_left_us(deadline) == 0) {
            return false;
        } else {
            // Front ends that come one after the other leave only instants between their turns; one
            // that waited for its turn with growing pauses would hardly ever find one.
            std::this_thread::sleep_for(kTryEvery);
        }
    }
    return true;
}

void Question_look(Question& question, HeldTurn& turn, KeptConsole& console, std::int64_t now_ms) {
    if (question.isSettled) {
        return;
    }
    if (question.begun_ms < 0) {
        question.begun_ms = now_ms;
    }
    if (question.timesAsked > 0 && question.segment->hasAnswer()) {
        question.isSettled = true;
    } else if (question.timesAsked == 0 && !HeldTurn_take(turn, 0)) {
        question.isSettled = now_ms - question.begun_ms >= kAskEveryMs;
    } else if (question.timesAsked == 0 || now_ms - question.asked_ms >= kAskEveryMs) {
        ask(question, console, now_ms);
    }
    if (question.isSettled) {
        question.segment.reset();
    }
}

std::int64_t Question_unanswered_ms(const Question& question, std::int64_t now_ms) {
    return question.isSettled || question.timesAsked == 0 ? 0 : now_ms - question.begun_ms;
}

}  // namespace avoip::guard
