#include "avoipctl/run.hpp"

#include <ostream>

#include "avoipctl/arguments.hpp"
#include "avoipctl/edid.hpp"
#include "avoipctl/render.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/suggest.hpp"

namespace avoip::ctl {
namespace {

constexpr int kUnknownTextMs = 15'000;
constexpr std::string_view kDeviceList = "devicelist";

/// What a user can do about a failure answer to this command.
std::string_view advice(const Command& command) {
    if (command.group == "update") {
        return "The daemon's output says which step failed; 'avoipctl image FILE' looks at the "
               "image, 'avoipctl devices' at the devices.";
    }
    if (command.shape.key.empty() || command.shape.key == kDeviceList) {
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
        const std::string question = Suggest_forConsoleText(text);
        return "It is no command of the console." + (question.empty() ? "" : " " + question);
    }
    const Command* const command = Catalogue_findText(text);
    return command == nullptr ? std::string() : std::string(advice(*command));
}

/// Keeps the identities of a list of devices, which are its first column.
void rememberDevices(const Command& command, const Answer& answer) {
    if (command.shape.key != kDeviceList) {
        return;
    }
    std::vector<std::string> identities;
    for (const Row& row : answer.rows) {
        identities.push_back(row.front());
    }
    State_remember(identities, command.group == "devices");
}

}  // namespace

Status Run_read(Session& session, const Command& command, std::span<const std::string> values,
                Reading& reading) {
    const std::string text = Arguments_consoleText(command, values);
    const Status asked = Session_ask(session, text, command.timeout_ms, reading.json);
    if (asked != kSuccess) {
        return asked;
    }
    reading.answer = Answer_read(reading.json, command.shape);
    if (!reading.answer.readable) {
        return reportUnreadable(session, text);
    }
    if (!reading.answer.succeeded()) {
        return reportFailure(session, text, advice(command));
    }
    rememberDevices(command, reading.answer);
    return kSuccess;
}

Status Run_command(Session& session, const Command& command, std::span<const std::string> values) {
    Reading reading;
    const Status status = Run_read(session, command, values, reading);
    if (session.options.json && !reading.json.empty()) {
        session.out << reading.json << '\n';
    } else if (status == kSuccess) {
        session.out << Render_answer(command, reading.answer);
        if (command.shape.key == kDeviceList && reading.answer.rows.empty()) {
            Session_error(session, "No device answers.");
        }
    }
    if (status == kSuccess && session.options.edid_decode && !reading.answer.rows.empty()) {
        session.out.flush();
        const std::string trouble = Edid_explain(reading.answer.rows.front().back());
        if (!trouble.empty()) {
            Session_error(session, trouble);
        }
    }
    return status;
}

Status Run_send(Session& session, const std::string& text) {
    const Command* const command = Catalogue_findText(text);
    const int timeout_ms = command == nullptr ? kUnknownTextMs : command->timeout_ms;
    std::string json;
    if (const Status asked = Session_ask(session, text, timeout_ms, json); asked != kSuccess) {
        return asked;
    }
    session.out << json << '\n';
    const Answer answer = Answer_read(json, command == nullptr ? Shape{} : command->shape);
    if (!answer.readable) {
        return reportUnreadable(session, text);
    }
    if (!answer.succeeded()) {
        return reportFailure(session, text, remarkOn(text, answer));
    }
    if (command != nullptr) {
        rememberDevices(*command, answer);
    }
    return kSuccess;
}

}  // namespace avoip::ctl
