/*
 * The front end's side of avoipd's console: send one command, get its answer.
 *
 * The daemon takes commands as text on TCP port 6888 and writes nothing back on that connection.
 * It posts each answer into one System V shared memory segment, the answer segment, from which a
 * front end on the same machine reads it. This library does both halves, and makes front ends that
 * use it take turns, because the segment holds one answer at a time. It needs POSIX and nothing
 * else, and may be called from C and from C++.
 *
 *     avoip_frontend* frontend = avoip_frontend_open("127.0.0.1", AVOIP_CONSOLE_PORT);
 *     char* answer = NULL;
 *     if (avoip_frontend_ask(frontend, "config get devices!", 10000, &answer) == AVOIP_OK) {
 *         puts(answer);
 *         free(answer);
 *     } else {
 *         fprintf(stderr, "%s\n", avoip_frontend_error(frontend));
 *     }
 *     avoip_frontend_close(frontend);
 *
 * THE CONSOLE
 *
 *     command = text "!"         at most 4095 bytes, the "!" included
 *
 *   The first "!" ends a command, so the text holds none. The daemon removes every CR and LF, and
 *   a command that holds the letters "exit" anywhere ends the connection without an answer. Every
 *   other command is answered once, in the order in which a connection sent them.
 *
 * THE ANSWER SEGMENT
 *
 *     key     = 0x12345678       created by the daemon, permissions 0664
 *     segment = prefix answer NUL
 *     prefix  = "end\r\n"        five bytes
 *     answer  = JSON             {"ack":{"cmd":"...","status":"success"}} and data members
 *
 *   There is no length, no sequence number and no lock in it. The daemon writes the answer and its
 *   NUL first and the prefix last, in release order. A front end therefore
 *     1. attaches the segment for reading and writing and overwrites the five prefix bytes,
 *     2. sends the command,
 *     3. polls until all five prefix bytes stand, with an acquire fence behind the last look,
 *     4. copies the answer up to its NUL, never beyond the attached memory,
 *   and never sees half an answer. Permissions 0664 mean that it runs as the daemon's user, in the
 *   daemon's group, or as root: without the right to write it cannot do step 1.
 *
 *   "cmd" says which command an answer belongs to, and most answers carry their command's own name;
 *   docs/console.md names those that do not. An answer that somebody has given up on comes all the
 *   same, and says by its name that it is not yours: avoip_frontend_ask_named() goes by that.
 *
 * TAKING TURNS
 *
 *   Whoever asks holds an exclusive flock() on the lock file from before step 1 until after step 4.
 *   It is the file that the environment variable AVOIP_LOCK_FILE names; without it,
 *   avoip-frontend-N.lock in /run/avoip where that folder exists, else in /run/lock, else in /tmp.
 *   N is the inode of /proc/self/ns/ipc: the segment belongs to an IPC namespace, and so does its
 *   lock. The file is a regular one with one name, 0660 and of the segment's group, opened for
 *   reading and writing with O_NOFOLLOW and O_NONBLOCK, and never removed. Front ends leave each
 *   other notes in it: which answers nobody has seen yet, and whether replies may wait in the
 *   daemon's socket. docs/console.md has them to the letter, for front ends in other languages.
 */
#ifndef AVOIP_FRONTEND_H
#define AVOIP_FRONTEND_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The port of the daemon's console. */
#define AVOIP_CONSOLE_PORT 6888

/** The key of the answer segment. */
#define AVOIP_SEGMENT_KEY 0x12345678

/** The longest command in bytes, its "!" included. */
#define AVOIP_COMMAND_MAX 4095

/** How an ask ended. */
typedef enum avoip_result {
    AVOIP_OK = 0,         /**< The answer is there; whether it says "success" is for you to see. */
    AVOIP_REFUSED = 1,    /**< The console could not carry this command; nothing was sent. */
    AVOIP_NO_DAEMON = 2,  /**< No connection to the console, or it ended before the answer came. */
    AVOIP_NO_SEGMENT = 3, /**< The answer segment is not there or may not be written. */
    AVOIP_TIME_OUT = 4,   /**< No answer within the time-out. */
    AVOIP_NO_LOCK = 5,    /**< The lock file cannot be used. */
    AVOIP_NO_MEMORY = 6,  /**< No memory for the answer. */
    AVOIP_NO_TURN = 7,    /**< Others had their turn for the whole time-out; nothing was sent. */
    AVOIP_OVERWRITTEN = 8 /**< The command is done, but its answer was overwritten. */
} avoip_result;

/** One front end. Not for two threads at once; different ones may be used at the same time. */
typedef struct avoip_frontend avoip_frontend;

/**
 * Makes a front end for the console at `host` (a name or an IPv4 address) and `port`. Nothing is
 * sent and nothing is connected yet, so this succeeds before the daemon runs. The daemon must run
 * on this machine, whatever the host is: the answers are in this machine's memory.
 * @return the front end, to be released with avoip_frontend_close(), or NULL without memory.
 */
avoip_frontend* avoip_frontend_open(const char* host, uint16_t port);

/**
 * Sends `command` and waits for its answer. The first ask connects; later ones use the same
 * connection and make a new one when the daemon has ended it. A refused connection is tried again
 * for two seconds; what was sent is never sent again. The segment is attached anew for each ask, so
 * a daemon that was started again, with a new segment, is no matter. Any answer counts, but one
 * that is noted as owed to somebody else.
 * @param command    the text with exactly one "!", at its end; see avoip_frontend_refusal().
 * @param timeout_ms how long to wait in all, the turn included, in milliseconds; at least 1.
 * @param answer     receives the answer, NUL-terminated, to be released with free(); NULL when the
 *                   result is not AVOIP_OK.
 * @return how it ended; avoip_frontend_error() has the explanation.
 */
avoip_result avoip_frontend_ask(avoip_frontend* frontend, const char* command, int timeout_ms,
                                char** answer);

/**
 * The same, and only an answer counts whose "cmd" is `name` or `otherName`. Others are thrown
 * away, and the waiting goes on.
 * @param name       what success answers to this command carry, or NULL for avoip_frontend_ask().
 * @param otherName what failure answers carry, if that is another name, or NULL.
 */
avoip_result avoip_frontend_ask_named(avoip_frontend* frontend, const char* command,
                                      const char* name, const char* otherName, int timeout_ms,
                                      char** answer);

/**
 * The explanation of the last ask that did not end with AVOIP_OK: one sentence or two, what went
 * wrong and what can be done about it, without a line end. It stands until the next ask.
 */
const char* avoip_frontend_error(const avoip_frontend* frontend);

/**
 * Says why the console could not carry `command`, or NULL when it could. The text is constant.
 * A command is refused when it does not end in "!", has a "!" elsewhere, a CR, an LF or the letters
 * "exit" anywhere, or is longer than AVOIP_COMMAND_MAX bytes.
 */
const char* avoip_frontend_refusal(const char* command);

/** Ends the connection and releases the front end; NULL is allowed. */
void avoip_frontend_close(avoip_frontend* frontend);

#ifdef __cplusplus
}
#endif

#endif
