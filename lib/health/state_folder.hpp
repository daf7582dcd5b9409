// The folder in which the supervisor sets down how the daemon is, for everybody to read.
//
//     state.json    the text of health.hpp and a line end; replaced as a whole
//     guard.lock    empty; locked for writing, by fcntl(), for as long as the supervisor lives:
//                   byte 0 from its beginning, byte 1 since no old state stands there any more
//
// The lock tells a state that is kept from one that a killed supervisor left behind. Only whoever
// may write the file can hold that lock, so nobody else can pass for the supervisor.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "lib/base/descriptor.hpp"

namespace avoip {

/// The state folder of an installed supervisor.
inline constexpr const char* kStateFolder = "/run/avoip";
inline constexpr const char* kStateFile = "state.json";

/// Makes the folder where there is none, and keeps it, without a state at first, for the caller:
/// for as long as the descriptor is open, and no longer than the process lives. Gives none, and in
/// `problem` what is wrong as a sentence, when it cannot be had or another process keeps it.
Descriptor StateFolder_keep(const std::string& folder, std::string& problem);

/// Replaces the state by `text`; false with errno when that is not possible.
bool StateFolder_write(const std::string& folder, std::string_view text);

/// Removes the state: from now on there is none.
void StateFolder_clear(const std::string& folder);

/// The process that keeps the state in the folder; 0 when none does, or there is no such folder.
pid_t StateFolder_keeper(const std::string& folder);

}  // namespace avoip
