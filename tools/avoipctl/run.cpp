#include "avoipctl/run.hpp"

#include <ostream>

#include "avoipctl/edid.hpp"
#include "avoipctl/render.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/suggest.hpp"
#include "lib/base/json.hpp"
#include "lib/base/printable.hpp"

namespace avoip::ctl {
namespace {

/// What a user can do about a failure answer to this command.
std::string_view advice(const Command& command) {
    switch (command.exchange.kind) {
        case ExchangeKind::kUpdating:
            return "The daemon's output says which step failed; 'avoipctl image FILE' looks at the "
                   "image, 'avoipctl devices' at the devices.";
        case ExchangeKind::kSending:
        case ExchangeKind::kListing:
            return "The daemon could not send to the devices, or refused a value: see its output, "
                   "and whether its eth0.2 has an address.";
        case ExchangeKind::kReading:
            break;
    }
    return "The device did not answer in time, or not as it should: see whether 'avoipctl devices' "
           "lists it.";
}

/// What to say about a failure answer to a text that need not be of the catalogue.
std::string remarkOn(const Reply& reply) {
    // The daemon answers a text that is no command with the text itself as the name.
    if (reply.answer.cmd == reply.text) {
        const std::string question = Suggest_forConsoleText(reply.text);
        return "It is no command of the console." + (question.empty() ? "" : " " + question);
    }
    const Command* const command = Catalogue_findText(reply.text);
    return command == nullptr ? std::string() : std::string(advice(*command));
}

/// Names the devices among the values that the last list of devices did not have.
void warnOfUnlisted(Session& session, const Command& command, std::span<const std::string> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (State_isMissing(command.arguments[i], values[i])) {
            Session_error(session, "\"" + values[i] +
                                       "\" was not in the last list of devices. That it was sent "
                                       "does not mean that anybody has heard it.");
        }
    }
}

std::string_view verdictText(Verdict verdict) {
    switch (verdict) {
        case Verdict::kConfirmed:
            return "confirmed";
        case Verdict::kNotConfirmed:
            return "not confirmed";
        case Verdict::kCannotBeAsked:
            break;
    }
    return "cannot be asked";
}

/// The answer with the verdict as a further member.
std::string withVerdict(const std::string& json, std::string_view verdict) {
    const Json tree = Json_parse(json);
    Json_addText(tree.get(), "verified", verdict);
    return Json_print(tree.get());
}

/// Asks back what has become of a change, and prints it all.
Status verify(Session& session, const Request& change, const Reply& reply) {
    const Confirmation confirmation = Client_confirm(Session_client(session), change);
    const std::string verdict(verdictText(confirmation.verdict));
    if (session.options.json) {
        session.out << Printable_json(withVerdict(reply.json, verdict)) << '\n';
    } else {
        session.out << "Sent: " << verdict << ".\n";
    }
    if (!confirmation.problem.empty()) {
        Session_error(session, Printable_text(confirmation.problem));
    }
    return confirmation.verdict == Verdict::kNotConfirmed ? kFailure : kSuccess;
}

void explainEdid(Session& session, const Answer& answer) {
    session.out.flush();
    const std::string trouble = Edid_explain(answer.rows.front().back());
    if (!trouble.empty()) {
        Session_error(session, trouble);
    }
}

}  // namespace

Status Run_report(Session& session, const Reply& reply) {
    if (reply.end == End::kFailure) {
        const std::string remark = remarkOn(reply);
        Session_error(session, "The daemon answered failure to \"" + reply.text + "\"." +
                                   (remark.empty() ? "" : " ") + remark);
    } else {
        Session_error(session, reply.reason);
    }
    return Session_status(reply.end);
}

Status Run_read(Session& session, const Command& command, std::span<const std::string> values,
                Reply& reply) {
    reply = Client_run(Session_client(session), {&command, {values.begin(), values.end()}});
    return reply.succeeded() ? kSuccess : Run_report(session, reply);
}

Status Run_command(Session& session, const Command& command, std::span<const std::string> values) {
    Reply reply;
    const Status status = Run_read(session, command, values, reply);
    if (status == kSuccess && session.options.verify) {
        return verify(session, {&command, {values.begin(), values.end()}}, reply);
    }
    if (session.options.json && !reply.json.empty()) {
        session.out << Printable_json(reply.json) << '\n';
    } else if (status == kSuccess) {
        session.out << Render_answer(command, reply.answer);
        if (command.exchange.kind == ExchangeKind::kListing && reply.answer.rows.empty()) {
            Session_error(session, "No device answers.");
        }
    }
    if (status == kSuccess && command.exchange.kind == ExchangeKind::kSending) {
        warnOfUnlisted(session, command, values);
    }
    if (status == kSuccess && session.options.edidDecode && !reply.answer.rows.empty()) {
        explainEdid(session, reply.answer);
    }
    return status;
}

Status Run_send(Session& session, const std::string& text) {
    const Reply reply = Client_send(Session_client(session), text);
    if (!reply.json.empty()) {
        session.out << Printable_json(reply.json) << '\n';
    }
    return reply.succeeded() ? kSuccess : Run_report(session, reply);
}

}  // namespace avoip::ctl
