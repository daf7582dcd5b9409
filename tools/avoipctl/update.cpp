#include "avoipctl/update.hpp"

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <vector>

#include "avoipctl/everyone.hpp"
#include "avoipctl/image_file.hpp"
#include "avoipctl/interrupt.hpp"
#include "avoipctl/names.hpp"
#include "avoipctl/progress.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/targets.hpp"
#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

bool isForEncoders(const Command& command) {
    return command.action == "encoder" || command.action == "all-encoders";
}

std::string_view kindName(const Command& command) {
    return isForEncoders(command) ? "encoders" : "decoders";
}

const Command& listingFor(const Command& command) {
    return *Catalogue_find(kindName(command), "");
}

/// Why the daemon would refuse the image for this command; nothing when it would take it.
std::string refusalOf(const ImageFile& image, const Command& command) {
    if (!image.trouble.empty()) {
        return image.trouble;
    }
    const bool fits =
        isForEncoders(command) ? ImageFile_isForEncoders(image) : ImageFile_isForDecoders(image);
    return fits ? std::string()
                : "it is not for " + std::string(kindName(command)) + ": its name, \"" +
                      Printable_text(image.block.name.data()) + "\", has no \"" +
                      (isForEncoders(command) ? "TX" : "RX") + "\"";
}

/// The devices that the command is for: the one it names, or all of its kind.
Status findTargets(Session& session, const Command& command, std::span<const std::string> values,
                   std::vector<Target>& targets) {
    if (const Status status = Targets_list(session, listingFor(command), targets);
        status != kSuccess) {
        return status;
    }
    if (values.size() < 2) {
        return kSuccess;
    }
    const std::string& identity = values.front();
    std::erase_if(targets, [&](const Target& device) { return device.identity != identity; });
    if (targets.empty()) {
        Session_error(session, "The device \"" + identity + "\" is not among the " +
                                   std::string(kindName(command)) + " that answer: see 'avoipctl " +
                                   std::string(kindName(command)) + "'. Nothing was sent.");
        return kFailure;
    }
    return kSuccess;
}

std::string countText(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " device" : " devices");
}

/// Has the daemon do it, with a sign of life. Gives kSuccess when there is an answer, or when the
/// daemon is done without one.
Status push(Session& session, const Request& update, std::span<const Target> targets,
            Reply& reply) {
    const Progress progress("Updating " + countText(targets.size()));
    std::vector<std::string> addresses;
    for (const Target& target : targets) {
        addresses.push_back(target.address);
    }
    const InterruptText text("Nothing was sent.");
    reply = Client_update(Session_client(session), update, addresses,
                          [](UpdateStage) { Interrupt_say(kUploadGoesOn); });
    return reply.succeeded() ? kSuccess : Run_report(session, reply);
}

}  // namespace

Status Update_showImage(Session& session, const std::string& path) {
    const ImageFile image = ImageFile_read(path);
    if (!image.trouble.empty()) {
        Session_error(session, "The image " + path + " cannot be used: " + image.trouble + ".");
        return kWrongUsage;
    }
    session.out << ImageFile_print(image);
    return kSuccess;
}

Status Update_checkImage(Session& session, const Command& command, const std::string& path) {
    if (const auto problem = Arguments_problem(command.arguments.back(), path); !problem.empty()) {
        Session_error(session, "The path " + path + " " + problem + ".");
        return kWrongUsage;
    }
    const std::string refusal = refusalOf(ImageFile_read(path), command);
    if (!refusal.empty()) {
        Session_error(session,
                      "The image " + path + " cannot be used: " + refusal + ". Nothing was sent.");
    }
    return refusal.empty() ? kSuccess : kWrongUsage;
}

Status Update_run(Session& session, const Command& command, std::span<const std::string> values) {
    std::vector<std::string> absolute(values.begin(), values.end());
    if (const Status known = Names_resolveAll(session, command, absolute); known != kSuccess) {
        return known;
    }
    absolute.back() = std::filesystem::absolute(absolute.back()).string();
    if (const Status fits = Update_checkImage(session, command, absolute.back());
        fits != kSuccess) {
        return fits;
    }
    if (const Status meant = Everyone_ask(session, command); meant != kSuccess) {
        return meant;
    }
    const ImageFile image = ImageFile_read(absolute.back());
    std::vector<Target> targets;
    if (const Status found = findTargets(session, command, absolute, targets); found != kSuccess) {
        return found;
    }
    const bool quiet = session.options.json;
    if (!quiet) {
        session.out << ImageFile_print(image) << '\n'
                    << Targets_plan(targets, session.screen) << std::endl;
    }
    Reply reply;
    const Status pushed = push(session, {&command, absolute}, targets, reply);
    if (quiet && !reply.json.empty()) {
        session.out << Printable_json(reply.json) << '\n';
    }
    // Where the answer was overwritten, the versions alone tell what came of it.
    const bool unknown = reply.end == End::kOverwritten;
    if (quiet || (pushed != kSuccess && pushed != kFailure && !unknown)) {
        return pushed;
    }
    const std::string wanted = ImageFile_version(image);
    const Status looked =
        Targets_await(session, listingFor(command), targets, wanted, pushed == kSuccess || unknown);
    if (looked == kSuccess) {
        session.out << Targets_print(targets, wanted, session.screen);
    }
    if (unknown && looked == kSuccess) {
        return Targets_allHave(targets, wanted) ? kSuccess : kFailure;
    }
    return pushed == kSuccess ? looked : pushed;
}

}  // namespace avoip::ctl
