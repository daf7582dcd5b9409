// Waiting for a descriptor with a time-out. Works for any descriptor number.
#pragma once

/// Waits until `descriptor` can be read without blocking, at most `timeout_ms`. The end of a stream
/// and an error on the descriptor count as readable: the read that follows tells.
/// @return 1 when readable, 0 when the time has passed, -1 with errno set when the wait failed: a
///         bad descriptor, a negative time-out, a signal
int Wait_readable(int descriptor, int timeout_ms);

/// The same for writing.
int Wait_writable(int descriptor, int timeout_ms);

/// The same for either.
int Wait_readableOrWritable(int descriptor, int timeout_ms);
