// The explanation of a failure: one text, written by the place that knows, read by the caller.
#pragma once

namespace avoip {

struct Reason {
    char text[512];
};

/// Writes a formatted text into `reason`, cut where the room ends. The format is always a literal.
void Reason_set(Reason& reason, const char* format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace avoip
