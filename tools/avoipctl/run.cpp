#include "avoipctl/run.hpp"

#include <ostream>

#include "avoipctl/answer.hpp"
#include "avoipctl/arguments.hpp"
#include "avoipctl/render.hpp"
#include "avoipctl/suggest.hpp"

namespace {

constexpr int kUnknownTextMs = 15'000;

/// What a user can do about a failure answer to this command.
std::string_view advice(const Command& command) {
    if (command.group == "update") {
        return "The daemon's output says which step failed; 'avoipctl image FILE' looks at the "
               "image, 'avoipctl devices' at the devices.";
    }
    if (command.shape.key.empty() || command.shape.key == "devicelist") {
        return "The daemon could not send to the devices, or refused a value: see its output, and "
               "whether its eth0.2 has an address.";
    }
    return "The device did not answer in time, or not as it should: see whether 'avoipctl devices' "
           "lists it.";
}

Status reportFailure(Session& session, const std::string& text, std::string_view remark) {
    std::string message = "The daemon answered failure to \"" + text + "\".";
    if (!remark.empty()) {
        message.append(" ").append(remark);
    }
    Session_error(session, message);
    return kFailure;
}

Status reportUnreadable(Session& session, const std::string& text) {
    Session_error(session, "The answer to \"" + text +
                               "\" is not what the daemon answers. Is another program using the "
                               "answer segment?");
    return kFailure;
}

/// What to say about a failure answer to a text that need not be of the catalogue.
std::string remarkOn(const std::string& text, const Answer& answer) {
    // The daemon answers a text that is no command with the text itself as the name.
    if (answer.cmd == text) {
        return "It is no command of the console. " + Suggest_forConsoleText(text);
    }
    const Command* const command = Catalogue_findText(text);
    return command == nullptr ? std::string() : std::string(advice(*command));
}

}  // namespace

Status Run_command(Session& session, const Command& command, std::span<const std::string> values) {
    const std::string text = Arguments_consoleText(command, values);
    std::string json;
    if (const Status asked = Session_ask(session, text, command.timeout_ms, json);
        asked != kSuccess) {
        return asked;
    }
    const Answer answer = Answer_read(json, command.shape);
    if (session.options.json) {
        session.out << json << '\n';
    }
    if (!answer.readable) {
        return reportUnreadable(session, text);
    }
    if (!answer.succeeded()) {
        return reportFailure(session, text, advice(command));
    }
    if (!session.options.json) {
        session.out << Render_answer(command, answer);
    }
    return kSuccess;
}

Status Run_send(Session& session, const std::string& text) {
    const Command* const command = Catalogue_findText(text);
    const int timeout_ms = command == nullptr ? kUnknownTextMs : command->timeout_ms;
    std::string json;
    if (const Status asked = Session_ask(session, text, timeout_ms, json); asked != kSuccess) {
        return asked;
    }
    session.out << json << '\n';
    const Answer answer = Answer_read(json, {});
    if (!answer.readable) {
        return reportUnreadable(session, text);
    }
    return answer.succeeded() ? kSuccess : reportFailure(session, text, remarkOn(text, answer));
}
