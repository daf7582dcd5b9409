#include "lib/frontend/avoip_frontend.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "lib/frontend/connection.hpp"
#include "lib/frontend/reason.hpp"
#include "lib/frontend/segment.hpp"
#include "lib/frontend/turn.hpp"
#include "lib/frontend/waiting.hpp"

struct avoip_frontend {
    char host[256] = {};
    std::uint16_t port = 0;
    avoip::Connection connection;
    avoip::Reason reason = {};
};

namespace {

using avoip::Deadline;
using avoip::Reason_set;

/// Waits until the answer to `command` stands in the segment.
avoip_result awaitAnswer(avoip_frontend& frontend, const avoip::Segment& segment, int timeout_ms,
                         Deadline deadline) {
    avoip::Pauses pauses;
    while (!segment.hasAnswer()) {
        if (avoip::Deadline_left_us(deadline) == 0) {
            Reason_set(frontend.reason,
                       "No answer within %d ms. The daemon may still be at work on it; try again "
                       "later, or give a longer time-out.",
                       timeout_ms);
            return AVOIP_TIME_OUT;
        }
        const bool ended =
            avoip::Pauses_sleep(pauses, deadline, frontend.connection.descriptor()) &&
            !frontend.connection.stands();
        // The daemon may have answered and then ended, so the segment is looked at once more.
        if (ended && !segment.hasAnswer()) {
            Reason_set(frontend.reason,
                       "The daemon has ended the connection without an answer. Look at its output "
                       "and start it again.");
            return AVOIP_NO_DAEMON;
        }
    }
    return AVOIP_OK;
}

/// Sends the command on a connection that may be an old one: if that has ended unnoticed, the
/// command goes out on a new one.
avoip_result sendCommand(avoip_frontend& frontend, const char* command, Deadline deadline) {
    if (frontend.connection.send(command, deadline)) {
        return AVOIP_OK;
    }
    frontend.connection.close();
    const avoip_result opened =
        frontend.connection.open(frontend.host, frontend.port, deadline, frontend.reason);
    if (opened != AVOIP_OK) {
        return opened;
    }
    if (!frontend.connection.send(command, deadline)) {
        Reason_set(frontend.reason, "The daemon takes no commands. Look at its output.");
        return AVOIP_NO_DAEMON;
    }
    return AVOIP_OK;
}

avoip_result askInTurn(avoip_frontend& frontend, const char* command, int timeout_ms,
                       char** answer) {
    const Deadline deadline = avoip::Deadline_in(timeout_ms);
    avoip::Turn turn;
    if (const auto taken = turn.take(deadline, frontend.reason); taken != AVOIP_OK) {
        return taken;
    }
    const auto opened =
        frontend.connection.open(frontend.host, frontend.port, deadline, frontend.reason);
    if (opened != AVOIP_OK) {
        return opened;
    }
    avoip::Segment segment;
    if (const auto attached = segment.attach(deadline, frontend.reason); attached != AVOIP_OK) {
        return attached;
    }
    segment.clearPrefix();
    if (const auto sent = sendCommand(frontend, command, deadline); sent != AVOIP_OK) {
        return sent;
    }
    if (const auto came = awaitAnswer(frontend, segment, timeout_ms, deadline); came != AVOIP_OK) {
        return came;
    }
    *answer = segment.copyAnswer();
    if (*answer == nullptr) {
        Reason_set(frontend.reason, "No memory for the answer.");
        return AVOIP_NO_MEMORY;
    }
    return AVOIP_OK;
}

}  // namespace

avoip_frontend* avoip_frontend_open(const char* host, std::uint16_t port) {
    void* const memory = std::malloc(sizeof(avoip_frontend));
    if (memory == nullptr) {
        return nullptr;
    }
    auto* const frontend = new (memory) avoip_frontend;
    std::snprintf(frontend->host, sizeof frontend->host, "%s", host);
    frontend->port = port;
    return frontend;
}

avoip_result avoip_frontend_ask(avoip_frontend* frontend, const char* command, int timeout_ms,
                                char** answer) {
    *answer = nullptr;
    if (const char* const refusal = avoip_frontend_refusal(command); refusal != nullptr) {
        avoip::Reason_set(frontend->reason, "%s", refusal);
        return AVOIP_REFUSED;
    }
    const avoip_result result = askInTurn(*frontend, command, std::max(timeout_ms, 1), answer);
    if (result != AVOIP_OK) {
        // Commands on one connection run one after the other: the next one shall not queue up
        // behind one that is still at work.
        frontend->connection.close();
    }
    return result;
}

const char* avoip_frontend_error(const avoip_frontend* frontend) {
    return frontend->reason.text;
}

const char* avoip_frontend_refusal(const char* command) {
    const std::size_t length = std::strlen(command);
    const char* const mark = std::strchr(command, '!');
    if (mark == nullptr) {
        return "A command must end in \"!\".";
    }
    if (mark != command + length - 1) {
        return "A command must hold one \"!\" only, at its end: the console takes the first as its "
               "end.";
    }
    if (std::strpbrk(command, "\r\n") != nullptr) {
        return "A command must not hold a line end: the console removes CR and LF.";
    }
    if (std::strstr(command, "exit") != nullptr) {
        return "A command must not hold the letters \"exit\": the console takes them as the order "
               "to end the connection.";
    }
    if (length > AVOIP_COMMAND_MAX) {
        return "A command must not be longer than 4095 bytes.";
    }
    return nullptr;
}

void avoip_frontend_close(avoip_frontend* frontend) {
    if (frontend != nullptr) {
        frontend->~avoip_frontend();
        std::free(frontend);
    }
}
