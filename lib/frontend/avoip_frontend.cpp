#include "lib/frontend/avoip_frontend.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "lib/frontend/connection.hpp"
#include "lib/frontend/dialogue.hpp"
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

avoip_result askInTurn(avoip_frontend& frontend, const avoip::Question& question, int timeout_ms,
                       char** answer) {
    const avoip::Deadline deadline = avoip::Deadline_in(timeout_ms);
    avoip::Turn turn;
    avoip::Segment segment;
    avoip::Dialogue dialogue{frontend.connection, segment, turn, frontend.reason};
    const auto begun = avoip::Dialogue_begin(dialogue, frontend.host, frontend.port, deadline);
    if (begun != AVOIP_OK) {
        return begun;
    }
    return avoip::Dialogue_ask(dialogue, question, timeout_ms, deadline, answer);
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
    return avoip_frontend_ask_named(frontend, command, nullptr, nullptr, timeout_ms, answer);
}

avoip_result avoip_frontend_ask_named(avoip_frontend* frontend, const char* command,
                                      const char* name, const char* otherName, int timeout_ms,
                                      char** answer) {
    *answer = nullptr;
    if (const char* const refusal = avoip_frontend_refusal(command); refusal != nullptr) {
        avoip::Reason_set(frontend->reason, "%s", refusal);
        return AVOIP_REFUSED;
    }
    avoip::Question question;
    question.command = command;
    question.names[0] = name;
    question.names[1] = otherName;
    const avoip_result result = askInTurn(*frontend, question, std::max(timeout_ms, 1), answer);
    if (result != AVOIP_OK && result != AVOIP_NO_TURN) {
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
