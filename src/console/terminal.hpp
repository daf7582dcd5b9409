// Helpers for a console that talks back to its terminal. The daemon's console never does: none of
// these is called by it.
#pragma once

#include <sys/types.h>

/// Writes the nine option bytes FF FB 01 FF FB 03 FF FC 1F: IAC WILL ECHO, IAC WILL
/// SUPPRESS-GO-AHEAD, IAC WONT NAWS. @return the result of the write
ssize_t Telnet_sendOptions(int socket);

/// Makes the descriptor `target` refer to what `source` refers to.
/// @param saved  receives a duplicate of the old target, owned by the caller
/// @return the same duplicate; -1 when it cannot be had
int Telnet_redirectFd(int source, int target, int* saved);

/// Makes `target` refer to `saved` again and closes `saved`.
void Telnet_restoreFd(int saved, int target);
