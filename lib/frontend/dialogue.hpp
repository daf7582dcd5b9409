// A command and its answer, within a turn: who puts a question waits for what the daemon still owes
// to others, leaves a note of his own question for the others, sends, and takes the answer that
// carries one of the question's names. Everything else that comes is somebody else's.
#pragma once

#include <cstdint>

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/connection.hpp"
#include "lib/frontend/question.hpp"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/segment.hpp"
#include "lib/frontend/turn.hpp"
#include "lib/frontend/waiting.hpp"

namespace avoip {

/// What a dialogue goes through. Between Dialogue_begin() and the end of the turn the turn is held,
/// the connection stands and the segment is attached.
struct Dialogue {
    Connection& connection;
    Segment& segment;
    Turn& turn;
    Reason& reason;
    int number = 0;  ///< of the question that was put last
};

/// Takes the turn, connects and attaches until `deadline`, and forgets notes that are over. Gives
/// AVOIP_OK, or, with a reason, what Turn::take, Connection::open or Segment::attach gives.
avoip_result Dialogue_begin(Dialogue& dialogue, const char* host, std::uint16_t port,
                            Deadline deadline);

/// Puts a question: waits until nothing stands in its way, leaves its note, clears the prefix and
/// sends. Gives AVOIP_OK; AVOIP_TIME_OUT when the daemon owed others an answer until `deadline`;
/// AVOIP_NO_DAEMON when it could not be sent; the last two with a reason.
avoip_result Dialogue_put(Dialogue& dialogue, const Question& question, Deadline deadline);

/// Waits for the answer to the question that was put last, and takes its note back when it has
/// come. Gives AVOIP_OK with the answer, to be released with free(); else, with a reason,
/// AVOIP_TIME_OUT, AVOIP_NO_DAEMON, AVOIP_OVERWRITTEN or AVOIP_NO_MEMORY. `timeout_ms` is for the
/// reason's words.
avoip_result Dialogue_await(Dialogue& dialogue, const Question& question, int timeout_ms,
                            Deadline deadline, char** answer);

/// Asks with a marker, whether the daemon is done with the question that was put last. Gives
/// AVOIP_OK with its answer, which was not seen before; AVOIP_OVERWRITTEN when it is done and its
/// answer is not to be seen; AVOIP_TIME_OUT when it is at work until `deadline`; AVOIP_NO_DAEMON or
/// AVOIP_NO_MEMORY with a reason. The note stays.
avoip_result Dialogue_probe(Dialogue& dialogue, const Question& question, Deadline deadline,
                            char** answer);

/// Takes the note of the question that was put last back: nothing is owed for it.
void Dialogue_settle(Dialogue& dialogue);

/// Says in that note that the command takes no more replies out of the daemon's socket.
void Dialogue_shareNoMore(Dialogue& dialogue);

/// Puts a question and awaits its answer.
avoip_result Dialogue_ask(Dialogue& dialogue, const Question& question, int timeout_ms,
                          Deadline deadline, char** answer);

}  // namespace avoip
