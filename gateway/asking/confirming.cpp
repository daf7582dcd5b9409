#include "gateway/asking/confirming.hpp"

#include <algorithm>
#include <tuple>

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;

constexpr int kInSuccession = 2;

/// For how long a device is asked again that says otherwise, and after which pauses.
constexpr Span kPatience = 2s;
constexpr Span kPause = 100ms;

const Command* askedBack(const Request& change) {
    const std::string_view text = change.command->askedBack.text;
    return text.empty() ? nullptr : Catalogue_findText(text);
}

bool isOpen(const Confirming& confirming, std::size_t change) {
    return !confirming.changes[change].verdict;
}

bool isOpen(const Confirming& confirming, const DeviceWatch& watch) {
    return std::ranges::any_of(watch.changes,
                               [&](std::size_t change) { return isOpen(confirming, change); });
}

void decide(Confirming& confirming, std::size_t change, Verdict verdict) {
    confirming.changes[change].verdict = verdict;
}

/// Takes one look at one change over.
void note(Confirming& confirming, std::size_t change, bool agrees) {
    ChangeWatch& watch = confirming.changes[change];
    watch.agreed = agrees ? watch.agreed + 1 : 0;
    if (watch.agreed == kInSuccession) {
        watch.verdict = Verdict::kConfirmed;
    }
}

/// Reads what the open changes of a device are asked back with, each command once.
std::vector<Request> readsFor(const Confirming& confirming, const DeviceWatch& watch) {
    std::vector<Request> reads;
    for (const std::size_t change : watch.changes) {
        const Command* const asked = askedBack(confirming.changes[change].change);
        if (isOpen(confirming, change) &&
            std::ranges::find(reads, asked, &Request::command) == reads.end()) {
            reads.push_back({asked, {watch.device}});
        }
    }
    return reads;
}

/// What a failed batch means: a device that was silent is not asked again, as far as it was.
void noteFailure(Confirming& confirming, const DeviceWatch& watch, const Session& session) {
    const bool route = session.last != nullptr && RouteKind_of(*session.last).has_value();
    for (const std::size_t change : watch.changes) {
        if (!isOpen(confirming, change)) {
            continue;
        }
        note(confirming, change, false);
        const bool meant = !route || askedBack(confirming.changes[change].change) == session.last;
        if (session.silent && meant) {
            decide(confirming, change, Verdict::kNotConfirmed);
        }
    }
}

void readDevice(Confirming& confirming, const DeviceWatch& watch, Session& session,
                SharedState& state, const Clocks& clocks) {
    const std::vector<Request> reads = readsFor(confirming, watch);
    session.reader.rounds = 1;
    const Batch batch = Reader_read(session.reader, reads);
    Session_learn(session, state, reads, batch, clocks.time());
    if (!batch.outcome.succeeded()) {
        noteFailure(confirming, watch, session);
        return;
    }
    for (const std::size_t change : watch.changes) {
        const Request& wanted = confirming.changes[change].change;
        const auto read = std::ranges::find(reads, askedBack(wanted), &Request::command);
        if (isOpen(confirming, change) && read != reads.end()) {
            const auto place = static_cast<std::size_t>(read - reads.begin());
            const Row& row = batch.replies[place].answer.rows.front();
            note(confirming, change, Confirm_difference(row, wanted).empty());
        }
    }
}

/// Whether a listing has the device, and every line about it as the change wants it.
bool agrees(const Answer& answer, const std::string& device, const Request& change) {
    bool found = false;
    for (const Row& row : answer.rows) {
        if (Answer_member(Catalogue_listing().shape, row, "hostid") == device) {
            found = true;
            if (!Confirm_difference(row, change).empty()) {
                return false;
            }
        }
    }
    return found;
}

void listDevice(Confirming& confirming, const DeviceWatch& watch, Session& session) {
    const Reply listed = Reader_list(session.reader, Catalogue_listing());
    for (const std::size_t change : watch.changes) {
        if (isOpen(confirming, change)) {
            note(confirming, change,
                 listed.succeeded() &&
                     agrees(listed.answer, watch.device, confirming.changes[change].change));
        }
    }
}

/// After a look: the second look at what agrees comes soon, what does not is given some time, as
/// long as there is any.
void plan(Confirming& confirming, DeviceWatch& watch, Moment now) {
    const bool patience = now <= *watch.firstLook + kPatience;
    watch.nextLook = now;
    for (const std::size_t change : watch.changes) {
        if (isOpen(confirming, change) && confirming.changes[change].agreed == 0) {
            watch.nextLook = now + kPause;
            if (!patience) {
                decide(confirming, change, Verdict::kNotConfirmed);
            }
        }
    }
}

/// The device to look at next: of those whose look is due, or will be due first, one that the last
/// listing has heard, and of these one that has agreed once, so that those that answer are done
/// before silent ones have used up the time.
DeviceWatch* choose(Confirming& confirming, const Session& session, Moment now) {
    const Moment until = std::max(now, Confirming_next(confirming).value_or(now));
    const auto rank = [&](const DeviceWatch& watch) {
        const bool missing =
            !watch.listed && Fleet_find(session.reader.fleet, watch.device) == nullptr;
        const bool begun = std::ranges::any_of(watch.changes, [&](std::size_t change) {
            return isOpen(confirming, change) && confirming.changes[change].agreed > 0;
        });
        return std::tuple(missing, !begun, watch.nextLook);
    };
    DeviceWatch* chosen = nullptr;
    for (DeviceWatch& watch : confirming.devices) {
        if (isOpen(confirming, watch) && watch.nextLook <= until &&
            (chosen == nullptr || rank(watch) < rank(*chosen))) {
            chosen = &watch;
        }
    }
    return chosen;
}

}  // namespace

Confirming Confirming_begin(std::span<const Request> changes) {
    Confirming confirming;
    for (const Request& change : changes) {
        const std::size_t number = confirming.changes.size();
        confirming.changes.push_back({change});
        const Command* const asked = askedBack(change);
        if (asked == nullptr) {
            decide(confirming, number, Verdict::kCannotBeAsked);
            continue;
        }
        const auto place = static_cast<std::size_t>(change.command->askedBack.device);
        const std::string& device = change.values[place];
        const bool listed = asked->exchange.kind == ExchangeKind::kListing;
        auto found = std::ranges::find_if(confirming.devices, [&](const DeviceWatch& watch) {
            return watch.device == device && watch.listed == listed;
        });
        if (found == confirming.devices.end()) {
            found = confirming.devices.insert(found, {device, listed});
        }
        found->changes.push_back(number);
    }
    return confirming;
}

std::optional<Moment> Confirming_next(const Confirming& confirming) {
    std::optional<Moment> next;
    for (const DeviceWatch& watch : confirming.devices) {
        if (isOpen(confirming, watch) && (!next || watch.nextLook < *next)) {
            next = watch.nextLook;
        }
    }
    return next;
}

void Confirming_look(Confirming& confirming, Session& session, SharedState& state,
                     const Clocks& clocks) {
    // Where one of several has been silent, the listing that has to be shows who still is there.
    const bool several = std::ranges::count_if(confirming.devices, [&](const DeviceWatch& watch) {
                             return isOpen(confirming, watch);
                         }) > 1;
    const bool ready = !several || session.reader.clean ||
                       Reader_list(session.reader, Catalogue_listing()).succeeded();
    DeviceWatch* const watch = choose(confirming, session, clocks.now());
    if (watch == nullptr) {
        return;
    }
    watch->firstLook = watch->firstLook.value_or(clocks.now());
    if (!ready) {
        noteFailure(confirming, *watch, session);
    } else if (watch->listed) {
        listDevice(confirming, *watch, session);
    } else {
        readDevice(confirming, *watch, session, state, clocks);
    }
    plan(confirming, *watch, clocks.now());
}

std::vector<Verdict> Confirming_verdicts(const Confirming& confirming) {
    std::vector<Verdict> verdicts;
    for (const ChangeWatch& watch : confirming.changes) {
        verdicts.push_back(watch.verdict.value_or(Verdict::kNotConfirmed));
    }
    return verdicts;
}

}  // namespace avoip::gw
