// Questions of the catalogue in the words of lib/frontend, and what comes of them in those of the
// client: for lib/client, and for who asks over connections and turns of his own.
#pragma once

#include <string>

#include "lib/client/client.hpp"

namespace avoip {

/// A question with the texts that it points to.
struct NamedQuestion {
    /// For a console text: with the catalogue's facts where that knows the text, and as one that
    /// reads nothing where the text is no command.
    explicit NamedQuestion(std::string consoleText);
    NamedQuestion(const NamedQuestion&) = delete;
    NamedQuestion& operator=(const NamedQuestion&) = delete;
    ~NamedQuestion() = default;

    std::string text;
    const Command* command;  ///< null when the text is none
    std::string success;
    std::string failure;
    Question question = {};
};

/// A reply with the console text of a request: a success when that can be sent, else End::kRefused
/// with the reason.
Reply Request_check(const Request& request);

/// How the asking ended that gave `result`. With AVOIP_OK the answer tells.
End Reply_end(avoip_result result);

/// Takes an answer into the reply to the question that it answers. `room` is the longest answer
/// that the segment has room for.
void Reply_takeAnswer(Reply& reply, const NamedQuestion& named, std::string json, std::size_t room);

/// How long to wait for the answer to this question.
int Client_timeout_ms(const Client& client, const NamedQuestion& named);

/// Takes the turn, connects and attaches, unless that is so already; then the client's reader knows
/// what the lock file says. Gives what Dialogue_begin() gives.
avoip_result Client_enter(Client& client, int timeout_ms);

/// Leaves the turn, and says in the lock file what the reader knows.
void Client_leave(Client& client);

/// The reply to a question that ended with `result`; an answer, where there is one, is taken over
/// and released. After an end on which the daemon may still be at work the connection is ended:
/// commands on one connection run one after the other, and the next one shall not queue up behind
/// that.
Reply Client_reply(Client& client, const NamedQuestion& named, avoip_result result, char* answer);

/// Asks within the turn.
Reply Client_ask(Client& client, const NamedQuestion& named);

}  // namespace avoip
