// How a command function ends: with its error line, or with its answer.
#pragma once

#include <cstdint>
#include <span>

#include "kit/answer.hpp"
#include "protocol/records.hpp"

/// Prints the command's error line. @return -1
int Command_fail(const char* errorLine);

/// Ends a command that answers with its acknowledgement alone: stores the success answer under the
/// name `cmd`, or prints the error line when `result`, that of the command's request, is negative.
/// @return 0, or -1
int Command_acknowledge(std::int32_t result, const char* errorLine, const char* cmd, char** answer);

/// Ends a command that answers with one record: stores the success answer with an array of one
/// object under `key`, which holds the record's fields in the order of `members`. @return 0
template <typename Record>
int Command_answerRecord(const char* cmd, const char* key, const Record& record,
                         std::span<const RecordMember<Record>> members, char** answer) {
    const JsonTree root = Answer_success(cmd);
    Record_addMembers(Answer_addSingle(root, key), record, members);
    Answer_store(root, *answer);
    return 0;
}
