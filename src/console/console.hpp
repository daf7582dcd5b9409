// The text console: a TCP listener, one thread per connection, and the way of a command line to its
// handler and of the handler's answer to the answer segment.
//
// The console never writes to a client's socket. All state is process-wide; its flags are polled
// once a second, so a stop is seen within a second by every thread that waits for input.
#pragma once

#include <cstddef>
#include <cstdint>

/// Serves one command line. `line` is trimmed and terminated, at most 4,095 characters, its "!"
/// included. `answer` has room for kAnswerBufferSize bytes, all of them zero at each call, whatever
/// was written there before; the text at its beginning is the answer. Runs on the connection's
/// thread, several at once.
/// @return 0 when the answer is to be posted; anything else posts nothing
using CommandHandler = int (*)(int socket, const char* line, char* answer);

inline constexpr std::size_t kAnswerBufferSize = std::size_t{4} * 1024 * 1024;

/// Sets the console back to where it has no port, no handler and no listener. @return 0
int Telnet_init();

/// Registers the handler of all connections; null for none: lines are then read and dropped.
/// @return 0
int Telnet_setHandler(CommandHandler handler);

/// Starts the listener thread on the low 16 bits of `port`. Does nothing when it has been started.
/// @return 0; -1 after "Telnet: telnet_starting.......err!" when there can be no thread; the
///         console then counts as started (kept: console-start-once)
int Telnet_start(std::uint32_t port);

/// Stops the listener and waits for its end, which is also the end of idle connections. Does
/// nothing when the console has not been started. @return 0
int Telnet_stop();

/// The listener: opens the console's socket and the answer segment, then accepts connections until
/// the console is stopped.
/// @return 0 after an orderly stop; 1 after a failed accept, which ends the listener and leaves the
///         connections; -1 when the socket, the segment or a connection thread cannot be had
int Telnet_server();

/// Serves one connection until its end of stream, a read error, a line with "exit" in it, or the
/// end of the listener. Without memory for its answers it ends at once, with a line that says so.
/// The caller closes the socket.
void Telnet_client(int socket);

/// Makes the answer buffer zero over its whole size, runs the handler and posts its answer.
/// @return 0, also without a handler; -1 when the handler reported failure
int Telnet_runHandler(int socket, const char* line, char* answer, std::size_t answerSize);
