// The shared memory segment through which a local front end reads the latest answer.
//
// A System V segment with the key 0x12345678 and the permissions 0664. After an answer it holds
//
//   "end\r\n" ANSWER NUL
//
// and nothing else: no length, no sequence number, no lock word. The answer and its NUL are stored
// first and the prefix last, so a front end that has cleared the prefix before it sends its command
// sees the whole answer once the prefix stands again. Connections that answer at the same time
// overwrite each other (kept: one-answer).
#pragma once

#include <string_view>

/// Finds or creates the segment, with room for the largest answer. One that stands already is taken
/// as it is, whatever its size.
/// @return its identifier, or -1 after reporting "shmget errnor" (spelt so on purpose)
int AnswerSegment_get();

/// Attaches the segment, for posting. When that fails nothing is ever posted.
void AnswerSegment_attach(int identifier);

/// Posts an answer. One that does not fit in the attached memory is cut at its end, and a line says
/// so. Does nothing while no segment is attached.
void AnswerSegment_post(std::string_view answer);

/// Detaches the segment, as soon as no post is under way, and removes it from the system.
void AnswerSegment_remove(int identifier);
