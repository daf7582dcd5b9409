// Finds the command function of a console line, calls it, and answers for it when it fails.
#pragma once

/// Runs one trimmed command line, its "!" included, and leaves its answer in `answer`, which has
/// room for 4 MiB and holds zeros. Prints the line first. A line that no row of the command table
/// matches, a row without a function, and a function that fails are answered with "failure".
/// Safe to call on several threads at once.
/// @param socket  the connection's socket, passed on to the command function
/// @return 0 always, so that every line is answered
int Command_dispatch(int socket, const char* line, char* answer);
