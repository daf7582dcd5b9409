// The answer of a console command: one JSON document, printed without blanks.
//
//   {"ack":{"cmd":CMD,"status":"success"} MEMBERS}     MEMBERS are the command's own data
//   {"ack":{"cmd":CMD,"status":"failure"}}
#pragma once

#include <cstddef>

#include "base/json.hpp"

/// Room of the buffer that a command's answer is stored in.
inline constexpr std::size_t kAnswerCapacity = std::size_t{4} * 1024 * 1024;

/// A new answer that consists of its "ack"; a success answer takes data members after it.
JsonTree Answer_success(const char* cmd);
JsonTree Answer_failure(const char* cmd);

/// Prints the answer and stores its characters at `buffer`, without a terminating zero: the buffer
/// holds zeros before a command runs.
void Answer_store(const JsonTree& answer, char* buffer);

/// Adds to the answer, under `key`, an array of one object, and returns that object.
cJSON* Answer_addSingle(const JsonTree& answer, const char* key);
