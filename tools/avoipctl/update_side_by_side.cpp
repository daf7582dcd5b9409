#include "avoipctl/update_side_by_side.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <ostream>
#include <thread>
#include <vector>

#include "avoipctl/image_file.hpp"
#include "avoipctl/interrupt.hpp"
#include "avoipctl/names.hpp"
#include "avoipctl/progress.hpp"
#include "avoipctl/run.hpp"
#include "avoipctl/targets.hpp"
#include "avoipctl/update.hpp"
#include "lib/base/printable.hpp"

namespace avoip::ctl {
namespace {

using Clock = std::chrono::steady_clock;

/// What the uploads share. The targets and the image stay as they are while the uploads run.
struct Work {
    Session& session;
    std::span<const Target> targets;
    const std::string& image;
    std::vector<Reply> replies;
    Clock::time_point begin = Clock::now();
    std::atomic<std::size_t> next = 0;
};

const Command& commandFor(const Target& target) {
    return *Catalogue_find("update", target.kind == DeviceKind::kEncoder ? "encoder" : "decoder");
}

void tell(Work& work, const Target& target, const std::string& what) {
    if (work.session.options.json) {
        return;
    }
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - work.begin);
    Progress_print(work.session.out, Printable_text(target.identity) + ": " + what + " (" +
                                         std::to_string(passed.count()) + " s)");
}

std::string endText(const Reply& reply) {
    switch (reply.end) {
        case End::kSuccess:
        case End::kOverwritten:
            // Whose answer was overwritten is told by its version.
            return "done";
        case End::kFailure:
            return "failed: the daemon's output says at which step";
        default:
            return "failed: " + reply.reason;
    }
}

void updateOne(Work& work, std::size_t place) {
    const Target& target = work.targets[place];
    Client client({work.session.options.host, work.session.options.port,
                   static_cast<int>(work.session.options.timeout_s * 1000)});
    const std::string address = target.address;
    Reply& reply = work.replies[place];
    reply = Client_update(client, {&commandFor(target), {target.identity, work.image}},
                          {&address, 1}, [&](UpdateStage stage) {
                              Interrupt_say(kUploadGoesOn);
                              if (stage == UpdateStage::kUploading) {
                                  tell(work, target, "uploading to " + target.address);
                              }
                          });
    tell(work, target, endText(reply));
}

void updateAll(Work& work, int parallel) {
    const InterruptText text("Nothing was sent.");
    const Progress progress("Updating " + std::to_string(work.targets.size()) + " devices");
    std::vector<std::jthread> threads;
    for (int i = 0; i < parallel && threads.size() < work.targets.size(); ++i) {
        threads.emplace_back([&work] {
            for (std::size_t place = work.next++; place < work.targets.size();
                 place = work.next++) {
                updateOne(work, place);
            }
        });
    }
}

/// Finds the devices in a list, each once. kFailure for one that is not there.
Status findTargets(Session& session, std::span<const std::string> names,
                   std::vector<Target>& targets) {
    std::vector<Target> listed;
    if (const Status status = Targets_list(session, Catalogue_listing(), listed);
        status != kSuccess) {
        return status;
    }
    session.listed = true;
    const Argument any{
        .name = "device", .kind = ArgumentKind::kIdentity, .summary = "", .example = ""};
    for (std::string name : names) {
        if (const Status known = Names_resolve(session, any, name); known != kSuccess) {
            return known;
        }
        const auto found = std::ranges::find(listed, name, &Target::identity);
        if (found == listed.end() || found->kind == DeviceKind::kAny) {
            Session_error(session, "The device \"" + name +
                                       "\" is not among those that answer: see 'avoipctl "
                                       "devices'. Nothing was sent.");
            return kFailure;
        }
        if (std::ranges::find(targets, name, &Target::identity) == targets.end()) {
            targets.push_back(*found);
        }
    }
    return kSuccess;
}

/// What came of a device, seen by its answer or, where that was overwritten, by its version.
Status statusOf(const Reply& reply, const Target& target, const std::string& wanted) {
    if (reply.end != End::kOverwritten) {
        return Session_status(reply.end);
    }
    return Targets_allHave({&target, 1}, wanted) ? kSuccess : kFailure;
}

void printJson(Session& session, std::span<const Target> targets) {
    constexpr Member kMembers[] = {{"hostid", ""}, {"before", ""}, {"after", ""}};
    std::vector<Row> rows;
    for (const Target& target : targets) {
        rows.push_back({target.identity, target.before, target.after});
    }
    session.out << Answer_writeRows("updates", kMembers, rows) << '\n';
}

}  // namespace

Status UpdateSideBySide_run(Session& session, std::span<const std::string> devices,
                            const std::string& image, int parallel) {
    const std::string path = std::filesystem::absolute(image).string();
    std::vector<Target> targets;
    if (const Status found = findTargets(session, devices, targets); found != kSuccess) {
        return found;
    }
    for (const Target& target : targets) {
        if (const Status fits = Update_checkImage(session, commandFor(target), path);
            fits != kSuccess) {
            return fits;
        }
    }
    const ImageFile file = ImageFile_read(path);
    if (!session.options.json) {
        session.out << ImageFile_print(file) << '\n'
                    << Targets_plan(targets, session.screen) << std::endl;
    }
    Work work{session, targets, path, std::vector<Reply>(targets.size())};
    updateAll(work, parallel);

    const std::string wanted = ImageFile_version(file);
    const bool patient = std::ranges::any_of(work.replies, [](const Reply& reply) {
        return reply.succeeded() || reply.end == End::kOverwritten;
    });
    Status worst = Targets_await(session, Catalogue_listing(), targets, wanted, patient);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        worst = std::max(worst, statusOf(work.replies[i], targets[i], wanted));
    }
    if (session.options.json) {
        printJson(session, targets);
    } else {
        session.out << '\n' << Targets_print(targets, wanted, session.screen);
    }
    return worst;
}

}  // namespace avoip::ctl
