#include "avoipctl/names.hpp"

#include <algorithm>

#include "avoipctl/interrupt.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/state.hpp"
#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

bool isIdentity(const Argument& argument) {
    return argument.kind == ArgumentKind::kIdentity || argument.kind == ArgumentKind::kLastIdentity;
}

/// Lists the devices anew, once a session.
Status list(Session& session) {
    if (session.listed) {
        return kSuccess;
    }
    const InterruptText text("Nothing was sent.");
    const Reply reply = Client_run(Session_client(session), {&Catalogue_listing(), {}});
    if (reply.succeeded()) {
        session.listed = true;
        return kSuccess;
    }
    // A daemon that cannot list may be able to send, and what it says then is to the point.
    const Status status = Session_status(reply.end);
    return status == kFailure ? kSuccess : Run_report(session, reply);
}

bool fits(const Argument& argument, DeviceKind kind) {
    return argument.device == DeviceKind::kAny || kind == DeviceKind::kAny ||
           argument.device == kind;
}

/// The identities of the devices with this alias that the argument can mean.
std::vector<std::string> devicesNamed(const Fleet& fleet, const Argument& argument,
                                      const std::string& alias) {
    std::vector<std::string> identities;
    for (const auto& [identity, facts] : fleet) {
        if (facts.alias == alias && fits(argument, facts.kind)) {
            identities.push_back(identity);
        }
    }
    return identities;
}

std::string joined(std::span<const std::string> identities) {
    std::string text;
    for (const std::string& identity : identities) {
        text.append(text.empty() ? "" : ", ").append(Printable_text(identity));
    }
    return text;
}

}  // namespace

Status Names_resolve(Session& session, const Argument& argument, std::string& name) {
    if (!isIdentity(argument) || State_isListed(name)) {
        return kSuccess;
    }
    if (const Status status = list(session); status != kSuccess) {
        return status;
    }
    const Fleet& fleet = Session_client(session).reader.fleet;
    if (Fleet_find(fleet, name) == nullptr) {
        const std::vector<std::string> devices = devicesNamed(fleet, argument, name);
        if (devices.size() > 1) {
            Session_error(session, "\"" + name +
                                       "\" is the alias of several devices: " + joined(devices) +
                                       ". Type the identity of one. Nothing was sent.");
            return kWrongUsage;
        }
        name = devices.empty() ? name : devices.front();
    }
    if (const std::string problem = Arguments_problem(argument, name); !problem.empty()) {
        Session_error(session, "\"" + name + "\" is the alias of no device, and an identity " +
                                   problem + ". Nothing was sent.");
        return kWrongUsage;
    }
    return kSuccess;
}

Status Names_resolveAll(Session& session, const Command& command,
                        std::vector<std::string>& values) {
    for (std::size_t i = 0; i < values.size() && i < command.arguments.size(); ++i) {
        if (const Status status = Names_resolve(session, command.arguments[i], values[i]);
            status != kSuccess) {
            return status;
        }
    }
    return kSuccess;
}

}  // namespace avoip::ctl
