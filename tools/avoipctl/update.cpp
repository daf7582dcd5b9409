#include "avoipctl/update.hpp"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ostream>
#include <thread>
#include <vector>

#include "avoipctl/image_file.hpp"
#include "avoipctl/progress.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/table.hpp"
#include "lib/base/printable.hpp"
#include "lib/catalogue/arguments.hpp"

namespace avoip::ctl {
namespace {

using namespace std::chrono_literals;

// Devices take the new version when they have started again.
constexpr auto kReturnPatience = 60s;

bool isForEncoders(const Command& command) {
    return command.action == "encoder" || command.action == "all-encoders";
}

std::string_view kindName(const Command& command) {
    return isForEncoders(command) ? "encoders" : "decoders";
}

/// The version without the "V" that some devices, and the daemon, write before it.
std::string_view numbers(std::string_view version) {
    if (version.starts_with('V') || version.starts_with('v')) {
        version.remove_prefix(1);
    }
    return version;
}

bool hasVersion(const Target& target, const std::string& wanted) {
    return numbers(target.after) == numbers(wanted);
}

std::string outcome(const Target& target, const std::string& wanted) {
    if (target.after.empty()) {
        return "not listed";
    }
    if (hasVersion(target, wanted)) {
        return target.after == target.before ? "same version" : "updated";
    }
    return target.after == target.before ? "unchanged" : "changed";
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

/// Asks for the devices of the command's kind.
Status listDevices(Session& session, const Command& command, std::vector<Target>& devices) {
    const Command& list = *Catalogue_find(kindName(command), "");
    Reply reply;
    const Status status = Run_read(session, list, {}, reply);
    for (const Row& row : reply.answer.rows) {
        const auto said = [&](std::string_view key) { return Answer_member(list.shape, row, key); };
        devices.push_back({said("hostid"), said("version"), "", said("devaddr")});
    }
    return status;
}

/// Takes over what a new list says about the targets; true when all are listed, with the version
/// `wanted` or at least another than before.
bool noteVersions(std::vector<Target>& targets, std::span<const Target> listed,
                  const std::string& wanted) {
    bool all = true;
    for (Target& target : targets) {
        const auto found = std::ranges::find(listed, target.identity, &Target::identity);
        target.after = found == listed.end() ? "" : found->before;
        all = all && !target.after.empty() &&
              (hasVersion(target, wanted) || target.after != target.before);
    }
    return all;
}

/// Looks at the devices until all targets have a new version, with patience when the daemon
/// reported success, and otherwise once.
Status awaitVersions(Session& session, const Command& command, std::vector<Target>& targets,
                     const std::string& wanted, bool patient) {
    const Progress progress("Waiting for the devices to come back");
    const auto end = std::chrono::steady_clock::now() + kReturnPatience;
    while (true) {
        std::vector<Target> listed;
        if (const Status status = listDevices(session, command, listed); status != kSuccess) {
            return status;
        }
        if (noteVersions(targets, listed, wanted) || !patient ||
            std::chrono::steady_clock::now() > end) {
            return kSuccess;
        }
        std::this_thread::sleep_for(500ms);
    }
}

/// The devices that the command is for: the one it names, or all of its kind.
Status findTargets(Session& session, const Command& command, std::span<const std::string> values,
                   std::vector<Target>& targets) {
    if (const Status status = listDevices(session, command, targets); status != kSuccess) {
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

void printPlan(Session& session, const ImageFile& image, std::span<const Target> targets) {
    std::vector<Row> rows;
    for (const Target& target : targets) {
        rows.push_back({target.identity, target.before});
    }
    session.out << ImageFile_print(image) << '\n'
                << Table_print(std::vector<std::string>{"IDENTITY", "VERSION"}, rows) << std::endl;
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
    reply = Client_update(Session_client(session), update, addresses);
    return reply.succeeded() ? kSuccess : Run_report(session, reply);
}

bool allHave(std::span<const Target> targets, const std::string& wanted) {
    return std::ranges::all_of(targets,
                               [&](const Target& target) { return hasVersion(target, wanted); });
}

}  // namespace

std::string Update_print(std::span<const Target> targets, const std::string& wanted) {
    std::vector<Row> rows;
    for (const Target& target : targets) {
        rows.push_back({target.identity, target.before, target.after, outcome(target, wanted)});
    }
    return Table_print(std::vector<std::string>{"IDENTITY", "BEFORE", "AFTER", "RESULT"}, rows);
}

Status Update_showImage(Session& session, const std::string& path) {
    const ImageFile image = ImageFile_read(path);
    if (!image.trouble.empty()) {
        Session_error(session, "The image " + path + " cannot be used: " + image.trouble + ".");
        return kWrongUsage;
    }
    session.out << ImageFile_print(image);
    return kSuccess;
}

Status Update_run(Session& session, const Command& command, std::span<const std::string> values) {
    std::vector<std::string> absolute(values.begin(), values.end());
    std::string& path = absolute.back();
    path = std::filesystem::absolute(path).string();
    if (const auto problem = Arguments_problem(command.arguments.back(), path); !problem.empty()) {
        Session_error(session, "The path " + path + " " + problem + ".");
        return kWrongUsage;
    }
    const ImageFile image = ImageFile_read(path);
    if (const std::string refusal = refusalOf(image, command); !refusal.empty()) {
        Session_error(session,
                      "The image " + path + " cannot be used: " + refusal + ". Nothing was sent.");
        return kWrongUsage;
    }
    std::vector<Target> targets;
    if (const Status found = findTargets(session, command, absolute, targets); found != kSuccess) {
        return found;
    }
    const bool quiet = session.options.json;
    if (!quiet) {
        printPlan(session, image, targets);
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
        awaitVersions(session, command, targets, wanted, pushed == kSuccess || unknown);
    if (looked == kSuccess) {
        session.out << Update_print(targets, wanted);
    }
    if (unknown && looked == kSuccess) {
        return allHave(targets, wanted) ? kSuccess : kFailure;
    }
    return pushed == kSuccess ? looked : pushed;
}

}  // namespace avoip::ctl
