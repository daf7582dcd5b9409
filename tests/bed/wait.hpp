// How the bed waits: always for an event, always with a bound, and never for long without one.
//
// What the bed cannot do or does not get in time it throws as a bed::Error whose text says what it
// wanted and what it found; GoogleTest reports it as the failure of the test.
#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace bed {

/// How long anything may take. Far more than needed: the machine may be loaded.
inline constexpr std::chrono::seconds kPatience{20};

/// What the bed throws.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Throws an Error that says what could not be done and, from errno, why.
[[noreturn]] void throwSystemError(const std::string& what);

/// Waits until `descriptor` can be read (or its other end is gone). False when that did not happen
/// within `patience`; 0 only looks.
bool awaitReadable(int descriptor, std::chrono::milliseconds patience = kPatience);

/// Asks again and again, a few milliseconds apart, until `condition` holds; for events that nothing
/// announces. Throws after `patience`, naming `what` it waited for.
void awaitCondition(const std::string& what, const std::function<bool()>& condition,
                    std::chrono::milliseconds patience = kPatience);

}  // namespace bed
