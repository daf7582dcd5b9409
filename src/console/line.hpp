// Command lines as they come from a console connection: everything up to "!", or 4,095 bytes.
#pragma once

/// Room of a line buffer: the longest line and its terminating zero.
inline constexpr int kLineBufferSize = 4096;

/// Reads one line, a byte per read call, into `buffer`, which has kLineBufferSize zeroed bytes. The
/// "!" is stored too. Waits for the rest of a line without a limit of time (kept: unfinished-line).
/// @param size  not looked at: the limit is fixed
/// @return the number of bytes stored; 0 at the end of the stream, -1 on a read error
int Telnet_readLine(int socket, char* buffer, int size);

/// Strips blanks from the very front of the line (at most `count`), then every carriage return,
/// then every line feed, wherever they stand. Blanks behind a carriage return or line feed stay,
/// and so do tabs and everything at the end (kept: trim-order).
/// @return null always
char* Telnet_trimLine(char* line, int count);
