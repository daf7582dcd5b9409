#include "lib/frontend/dialogue.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "lib/frontend/answer_name.hpp"

namespace avoip {

namespace {

/// Takes the answer that stands in the segment; null without memory. The prefix is cleared before
/// the copy is made: an answer that is posted meanwhile is not lost, but seen next.
char* takeAnswer(Segment& segment) {
    segment.clearPrefix();
    return segment.copyAnswer();
}

/// Crosses off the first note that an answer under this name may belong to, but not that of the own
/// question; false when it belongs to none.
bool settleOwed(Turn& turn, const AnswerName& name, int ownNumber) {
    Notes& notes = turn.notes();
    for (std::size_t i = 0; i < notes.owedCount; ++i) {
        const OwedAnswer& owed = notes.owed[i];
        const bool own = owed.pid == ::getpid() && owed.number == ownNumber;
        if (!own && OwedAnswer_isNamed(owed, name.text)) {
            Notes_drop(notes, i);
            turn.save();
            return true;
        }
    }
    return false;
}

/// Waits until no owed answer stands in the question's way.
avoip_result awaitOwed(Dialogue& dialogue, const Question& question, Deadline deadline) {
    Notes& notes = dialogue.turn.notes();
    Pauses pauses;
    while (true) {
        Notes_lapse(notes, dialogue.connection.daemon(), BootClock_ms());
        const OwedAnswer* const owed = Question_obstacle(question, notes);
        if (owed == nullptr) {
            return AVOIP_OK;
        }
        if (dialogue.segment.hasAnswer()) {
            char* const answer = takeAnswer(dialogue.segment);
            settleOwed(dialogue.turn, Answer_name(answer == nullptr ? "" : answer), 0);
            std::free(answer);
        } else if (Deadline_left_us(deadline) == 0) {
            Reason_set(
                dialogue.reason,
                "The daemon is still at work on a command that somebody gave up on (\"%s\"), "
                "and has not answered it within the time-out. Nothing was sent; try again "
                "later, or give a longer time-out.",
                owed->names[0].data());
            return AVOIP_TIME_OUT;
        } else {
            Pauses_sleep(pauses, deadline, -1);
        }
    }
}

/// Leaves it to the others to wait for the answer.
void giveUp(Dialogue& dialogue, const Question& question) {
    Notes& notes = dialogue.turn.notes();
    if (OwedAnswer* const owed = Notes_find(notes, ::getpid(), dialogue.number)) {
        *owed = Question_note(question, dialogue.number);
        dialogue.turn.save();
    }
}

bool sendMarker(Dialogue& dialogue, Marker& marker, Deadline deadline) {
    marker = Marker_make();
    return dialogue.connection.send(marker.line, deadline);
}

/// What one look at the segment came to.
enum class Look { kNothing, kAnswer, kMarker, kNoMemory };

Look lookForAnswer(Dialogue& dialogue, const Question& question, const Marker& marker,
                   char** answer) {
    if (!dialogue.segment.hasAnswer()) {
        return Look::kNothing;
    }
    char* const taken = takeAnswer(dialogue.segment);
    if (taken == nullptr) {
        return Look::kNoMemory;
    }
    const AnswerName name = Answer_name(taken);
    // What carries no name at all is no answer of a daemon that works: that is for the asker to
    // see.
    Look look = Look::kAnswer;
    if (marker.isSent() && AnswerName_fits(name.text, marker.line)) {
        look = Look::kMarker;
    } else if (name.exists && !Question_isNamed(question, name.text)) {
        const bool owed = settleOwed(dialogue.turn, name, dialogue.number);
        look = owed || question.names[0] != nullptr ? Look::kNothing : Look::kAnswer;
    }
    if (look == Look::kAnswer) {
        *answer = taken;
    } else {
        std::free(taken);
    }
    return look;
}

/// When to send the marker of a question.
Deadline markerDue(const Question& question) {
    constexpr Deadline kNever = std::numeric_limits<Deadline>::max();
    return question.markerAfter_ms > 0 ? Deadline_in(question.markerAfter_ms) : kNever;
}

/// Waits for the answer, without a thought for the note. Asks with the marker when it is due,
/// unless that is done already.
avoip_result awaitAnswer(Dialogue& dialogue, const Question& question, Marker& marker,
                         Deadline deadline, char** answer) {
    const Deadline markerDueAt = markerDue(question);
    Pauses pauses;
    bool ended = false;
    while (true) {
        switch (lookForAnswer(dialogue, question, marker, answer)) {
            case Look::kAnswer:
                return AVOIP_OK;
            case Look::kMarker:
                return AVOIP_OVERWRITTEN;
            case Look::kNoMemory:
                return AVOIP_NO_MEMORY;
            case Look::kNothing:
                break;
        }
        // The daemon may have answered and then ended, so there is a look behind the end.
        if (ended) {
            return AVOIP_NO_DAEMON;
        }
        if (Deadline_left_us(deadline) == 0) {
            return AVOIP_TIME_OUT;
        }
        if (!marker.isSent() && Deadline_left_us(markerDueAt) == 0) {
            ended = !sendMarker(dialogue, marker, deadline);
        }
        ended = ended || (Pauses_sleep(pauses, deadline, dialogue.connection.descriptor()) &&
                          !dialogue.connection.stands());
    }
}

void explain(Reason& reason, avoip_result result, int timeout_ms) {
    switch (result) {
        case AVOIP_OVERWRITTEN:
            Reason_set(reason,
                       "The daemon is done with the command, but another answer has overwritten "
                       "the one to it. Whether it succeeded is not known.");
            break;
        case AVOIP_NO_MEMORY:
            Reason_set(reason, "No memory for the answer.");
            break;
        case AVOIP_NO_DAEMON:
            Reason_set(reason,
                       "The daemon has ended the connection without an answer. Look at its output "
                       "and start it again.");
            break;
        case AVOIP_TIME_OUT:
            Reason_set(reason,
                       "No answer within %d ms. The daemon may still be at work on it; try again "
                       "later, or give a longer time-out.",
                       timeout_ms);
            break;
        default:
            break;
    }
}

}  // namespace

avoip_result Dialogue_begin(Dialogue& dialogue, const char* host, std::uint16_t port,
                            Deadline deadline) {
    const auto taken = dialogue.turn.take(deadline, dialogue.reason);
    // The first lock file is made for a segment: without one the daemon is waited for first.
    if (taken != AVOIP_OK && taken != AVOIP_NO_SEGMENT) {
        return taken;
    }
    const auto opened = dialogue.connection.open(host, port, deadline, dialogue.reason);
    if (opened != AVOIP_OK) {
        return opened;
    }
    const auto attached = dialogue.segment.attach(deadline, dialogue.reason);
    if (attached != AVOIP_OK) {
        return attached;
    }
    if (taken != AVOIP_OK) {
        const auto retaken = dialogue.turn.take(deadline, dialogue.reason);
        if (retaken != AVOIP_OK) {
            return retaken;
        }
    }
    Notes_lapse(dialogue.turn.notes(), dialogue.connection.daemon(), BootClock_ms());
    return AVOIP_OK;
}

avoip_result Dialogue_put(Dialogue& dialogue, const Question& question, Deadline deadline) {
    if (const auto free = awaitOwed(dialogue, question, deadline); free != AVOIP_OK) {
        return free;
    }
    dialogue.number = Question_nextNumber();
    Notes_add(dialogue.turn.notes(), Question_note(question, dialogue.number));
    dialogue.turn.notes().clean = dialogue.turn.notes().clean && question.shared_ms == 0;
    dialogue.turn.save();
    dialogue.segment.clearPrefix();
    if (!dialogue.connection.send(question.command, deadline)) {
        Dialogue_settle(dialogue);
        Reason_set(dialogue.reason, "The daemon takes no commands. Look at its output.");
        return AVOIP_NO_DAEMON;
    }
    return AVOIP_OK;
}

avoip_result Dialogue_await(Dialogue& dialogue, const Question& question, int timeout_ms,
                            Deadline deadline, char** answer) {
    Marker marker;
    const auto came = awaitAnswer(dialogue, question, marker, deadline, answer);
    explain(dialogue.reason, came, timeout_ms);
    if (came == AVOIP_TIME_OUT || came == AVOIP_NO_DAEMON) {
        giveUp(dialogue, question);
    } else {
        Dialogue_settle(dialogue);
    }
    return came;
}

avoip_result Dialogue_probe(Dialogue& dialogue, const Question& question, Deadline deadline,
                            char** answer) {
    Marker marker;
    dialogue.segment.clearPrefix();
    if (!sendMarker(dialogue, marker, deadline)) {
        return AVOIP_NO_DAEMON;
    }
    const auto came = awaitAnswer(dialogue, question, marker, deadline, answer);
    explain(dialogue.reason, came, 0);
    return came;
}

void Dialogue_shareNoMore(Dialogue& dialogue) {
    OwedAnswer* const owed = Notes_find(dialogue.turn.notes(), ::getpid(), dialogue.number);
    if (owed != nullptr) {
        owed->sharedUntil_ms = 0;
        dialogue.turn.save();
    }
}

void Dialogue_settle(Dialogue& dialogue) {
    Notes& notes = dialogue.turn.notes();
    if (const OwedAnswer* const owed = Notes_find(notes, ::getpid(), dialogue.number)) {
        Notes_drop(notes, static_cast<std::size_t>(owed - notes.owed.begin()));
        dialogue.turn.save();
    }
}

avoip_result Dialogue_ask(Dialogue& dialogue, const Question& question, int timeout_ms,
                          Deadline deadline, char** answer) {
    const auto put = Dialogue_put(dialogue, question, deadline);
    return put == AVOIP_OK ? Dialogue_await(dialogue, question, timeout_ms, deadline, answer) : put;
}

}  // namespace avoip
