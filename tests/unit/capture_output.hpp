// What a piece of code writes to standard output and standard error, to the byte, whether through
// the C library, by plain writes or from a child process.
#pragma once

#include <functional>
#include <string>

struct CapturedOutput {
    std::string output;
    std::string errors;
};

/// Runs `act` with both streams redirected and returns what came. No assertion belongs into `act`:
/// its message would be captured too. Everything the capture needs is opened before `act` runs, so
/// `act` may use up or limit the process's descriptors as long as it undoes that.
CapturedOutput captureOutput(const std::function<void()>& act);
