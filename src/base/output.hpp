// What the daemon says: diagnostic and trace texts on standard output, failed system calls on
// standard error.
//
// Each text leaves the process when it is printed, whole and in one write, into a terminal, a pipe
// or a file alike, with or without a line end. A text that cannot be written is lost without
// further notice: the daemon goes on. errno is left as it was, so that a printed text may stand
// between a failed call and its report. Any thread may call these.
#pragma once

/// Prints a formatted text on standard output. The format is always a literal.
void Output_print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Reports the system call that has just failed on standard error: `text`, a colon, a blank, the
/// text of the current errno and a line end.
void Output_systemError(const char* text);
