#include "avoipctl/run.hpp"

#include <algorithm>
#include <ostream>

#include "avoipctl/columns.hpp"
#include "avoipctl/edid.hpp"
#include "avoipctl/everyone.hpp"
#include "avoipctl/interrupt.hpp"
#include "avoipctl/names.hpp"
#include "avoipctl/render.hpp"
#include "avoipctl/state.hpp"
#include "avoipctl/suggest.hpp"
#include "avoipctl/wall.hpp"
#include "avoipctl/watch.hpp"
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

/// What an interrupt says while this command is asked.
const char* interruptText(const Command& command) {
    return command.exchange.kind == ExchangeKind::kSending
               ? "What was sent already is carried out; ask the device what became of it."
               : "Nothing is changed; the daemon waits for replies some seconds longer.";
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

Paint paintOf(Verdict verdict) {
    if (verdict == Verdict::kCannotBeAsked) {
        return Paint::kFaint;
    }
    return verdict == Verdict::kConfirmed ? Paint::kGood : Paint::kBad;
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
        session.out << "Sent: "
                    << Screen_paint(session.screen.colour, paintOf(confirmation.verdict), verdict)
                    << ".\n";
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

/// One look at a list, in these columns; in those that fit when there are none.
Status showList(Session& session, const Command& command, const Columns& columns) {
    Reply reply;
    const Status status = Run_read(session, command, {}, reply);
    if (session.options.json && !reply.json.empty()) {
        session.out << Printable_json(reply.json) << '\n';
    } else if (status == kSuccess) {
        std::string leftOut;
        const Columns shown = columns.empty()
                                  ? Columns_fitting(command.shape.members, reply.answer.rows,
                                                    session.screen.columns, leftOut)
                                  : columns;
        session.out << Render_answer(command, reply.answer, session.screen, shown);
        if (reply.answer.rows.empty()) {
            Session_error(session, "No device answers.");
        }
        Session_tellLeftOut(session, leftOut);
    }
    return status;
}

Status list(Session& session, const Command& command) {
    Columns columns;
    const std::string& names = session.options.columns;
    const std::string problem =
        names.empty() ? "" : Columns_choose(command.shape.members, names, columns);
    if (!problem.empty()) {
        Session_error(session, problem);
        return kWrongUsage;
    }
    return Watch_run(session, [&](Session& look) { return showList(look, command, columns); });
}

}  // namespace

void Run_warnOfUnlisted(Session& session, const Command& command,
                        std::span<const std::vector<std::string>> sent) {
    std::vector<std::string> missing;
    for (const auto& values : sent) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (State_isMissing(command.arguments[i], values[i]) &&
                std::ranges::find(missing, values[i]) == missing.end()) {
                missing.push_back(values[i]);
            }
        }
    }
    for (const std::string& name : missing) {
        Session_error(session, "\"" + name +
                                   "\" was not in the last list of devices. That it was sent "
                                   "does not mean that anybody has heard it.");
    }
}

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
    const InterruptText text(interruptText(command));
    reply = Client_run(Session_client(session), {&command, {values.begin(), values.end()}});
    return reply.succeeded() ? kSuccess : Run_report(session, reply);
}

Status Run_command(Session& session, const Command& command, std::span<const std::string> values) {
    std::vector<std::string> named(values.begin(), values.end());
    if (const Status known = Names_resolveAll(session, command, named); known != kSuccess) {
        return known;
    }
    if (const Status meant = Everyone_ask(session, command); meant != kSuccess) {
        return meant;
    }
    if (command.exchange.kind == ExchangeKind::kListing) {
        return list(session, command);
    }
    Reply reply;
    const Status status = Run_read(session, command, named, reply);
    if (status == kSuccess && session.options.verify) {
        return verify(session, {&command, named}, reply);
    }
    if (session.options.json && !reply.json.empty()) {
        session.out << Printable_json(reply.json) << '\n';
    } else if (status == kSuccess) {
        session.out << Render_answer(command, reply.answer, session.screen);
    }
    if (status == kSuccess && command.exchange.kind == ExchangeKind::kSending) {
        Wall_note(command, named);
        Run_warnOfUnlisted(session, command, {&named, 1});
    }
    if (status == kSuccess && session.options.edidDecode && !reply.answer.rows.empty()) {
        explainEdid(session, reply.answer);
    }
    return status;
}

Status Run_send(Session& session, const std::string& text) {
    const InterruptText said("If it was sent already, the daemon carries it out.");
    const Reply reply = Client_send(Session_client(session), text);
    if (!reply.json.empty()) {
        session.out << Printable_json(reply.json) << '\n';
    }
    return reply.succeeded() ? kSuccess : Run_report(session, reply);
}

}  // namespace avoip::ctl
