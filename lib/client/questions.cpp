#include "lib/client/questions.hpp"

#include <cstdlib>
#include <memory>

#include "lib/catalogue/arguments.hpp"

namespace avoip {

namespace {

/// For a text that is no command. The daemon answers it at once.
constexpr int kUnknownTextMs = 5'000;

/// How long an update takes replies of devices at most, until it knows them all.
constexpr int kDiscoveryOfUpdateMs = 3'000;

int shared_ms(const Command* command) {
    if (command == nullptr || command->exchange.kind == ExchangeKind::kSending) {
        return 0;
    }
    return command->exchange.kind == ExchangeKind::kUpdating ? kDiscoveryOfUpdateMs
                                                             : command->exchange.timeout_ms;
}

int usualTimeout_ms(const Command* command) {
    return command == nullptr ? kUnknownTextMs : command->exchange.timeout_ms;
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

NamedQuestion::NamedQuestion(std::string consoleText)
    : text(std::move(consoleText)),
      command(Catalogue_commandOf(text)),
      success(Catalogue_answerNames(text).success),
      failure(Catalogue_answerNames(text).failure) {
    question.command = text.c_str();
    question.names[0] = success.c_str();
    question.names[1] = failure.c_str();
    question.linger_ms = usualTimeout_ms(command);
    question.shared_ms = shared_ms(command);
    const bool update = command != nullptr && command->exchange.kind == ExchangeKind::kUpdating;
    question.markerAfter_ms = update ? 0 : usualTimeout_ms(command) / 2;
    question.besideNamesakes = update;
}

End Reply_end(avoip_result result) {
    switch (result) {
        case AVOIP_OK:
            return End::kSuccess;
        case AVOIP_REFUSED:
            return End::kRefused;
        case AVOIP_TIME_OUT:
            return End::kNoAnswer;
        case AVOIP_NO_TURN:
            return End::kNoTurn;
        case AVOIP_OVERWRITTEN:
            return End::kOverwritten;
        case AVOIP_NO_DAEMON:
        case AVOIP_NO_SEGMENT:
        case AVOIP_NO_LOCK:
        case AVOIP_NO_MEMORY:
            break;
    }
    return End::kNoDaemon;
}

void Reply_takeAnswer(Reply& reply, const NamedQuestion& named, std::string json,
                      std::size_t room) {
    const Command* const command = named.command;
    reply.json = std::move(json);
    reply.answer = Answer_read(reply.json, command == nullptr ? Shape{} : command->shape);
    if (reply.answer.readable) {
        reply.end = reply.answer.succeeded() ? End::kSuccess : End::kFailure;
        return;
    }
    reply.end = End::kUnreadable;
    // The daemon cuts what does not fit with its NUL.
    reply.reason = reply.json.size() + 1 >= room
                       ? "The answer to \"" + reply.text +
                             "\" was cut: the answer segment is too small for it. End the daemon, "
                             "remove the segment (ipcrm -M 0x12345678) and start the daemon again."
                       : "The answer to \"" + reply.text +
                             "\" is not what the daemon answers. Is another program using the "
                             "answer segment?";
}

Reply Request_check(const Request& request) {
    const auto arguments = request.command->arguments;
    Reply reply{End::kSuccess, Arguments_consoleText(*request.command, request.values)};
    if (request.values.size() != arguments.size()) {
        reply.end = End::kRefused;
        reply.reason = "\"" + std::string(request.command->text) + "\" takes " +
                       std::to_string(arguments.size()) + " arguments.";
        return reply;
    }
    for (std::size_t i = 0; i < arguments.size() && reply.succeeded(); ++i) {
        const std::string problem = Arguments_problem(arguments[i], request.values[i]);
        if (!problem.empty()) {
            reply.end = End::kRefused;
            reply.reason = std::string(arguments[i].name) + ": " + problem;
        }
    }
    return reply;
}

int Client_timeout_ms(const Client& client, const NamedQuestion& named) {
    return client.options.timeout_ms > 0 ? client.options.timeout_ms
                                         : usualTimeout_ms(named.command);
}

avoip_result Client_enter(Client& client, int timeout_ms) {
    if (client.turn.isHeld() && client.connection.stands()) {
        return AVOIP_OK;
    }
    const auto begun = Dialogue_begin(client.dialogue, client.options.host.c_str(),
                                      client.options.port, Deadline_in(timeout_ms));
    if (begun == AVOIP_OK) {
        client.reader.clean = client.turn.notes().clean;
    } else {
        client.turn.leave();
    }
    return begun;
}

void Client_leave(Client& client) {
    Notes& notes = client.turn.notes();
    if (client.turn.isHeld() && notes.clean != client.reader.clean) {
        notes.clean = client.reader.clean;
        client.turn.save();
    }
    client.turn.leave();
    client.segment.detach();
}

Reply Client_reply(Client& client, const NamedQuestion& named, avoip_result result, char* answer) {
    const std::unique_ptr<char, Free> owner(answer);
    Reply reply{Reply_end(result), named.text};
    if (result == AVOIP_OK) {
        Reply_takeAnswer(reply, named, owner.get(), client.segment.room());
        return reply;
    }
    reply.reason = client.why.text;
    if (result != AVOIP_OVERWRITTEN && result != AVOIP_NO_TURN) {
        client.connection.close();
    }
    return reply;
}

Reply Client_ask(Client& client, const NamedQuestion& named) {
    const int timeout_ms = Client_timeout_ms(client, named);
    char* answer = nullptr;
    const auto result =
        Dialogue_ask(client.dialogue, named.question, timeout_ms, Deadline_in(timeout_ms), &answer);
    return Client_reply(client, named, result, answer);
}

}  // namespace avoip
