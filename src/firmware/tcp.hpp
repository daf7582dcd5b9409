// TCP as the firmware upload uses it: connect, send and receive, each with a time-out. What fails
// prints its own text.
#pragma once

#include <cstddef>

/// Connects within one second.
/// @param ip    the address in dotted form
/// @param port  in host byte order
/// @return a connected, blocking socket, owned by the caller; -1 after printing why
int Tcp_Connect(const char* ip, int port);

/// Waits up to `seconds` until the socket can be written, then sends all of the buffer.
/// @return 0 when everything is sent; -1 after printing why, without a line end
int Tcp_Send(int socket, const void* buffer, std::size_t length, int seconds);

/// The same for a piece that is small beside what the socket holds for sending, with one system
/// call where there is room for it: it is sent first, and only what finds no room is waited for.
/// The system calls a full socket writable only when a third of it has been read, which may take a
/// slow reader longer than it has. So it is tried again every second, and given up when nothing
/// could be sent for `seconds`.
int Tcp_SendPiece(int socket, const void* piece, std::size_t length, int seconds);

/// Waits up to `seconds` until the socket can be read, then receives once.
/// @return the number of bytes received, at least 1; -1 after printing why, without a line end. The
///         peer's end of the stream counts as a failure.
int Tcp_Recv(int socket, void* buffer, std::size_t capacity, int seconds);
