#include "gateway/operations/routes.hpp"

#include <algorithm>
#include <utility>

#include "gateway/asking/session.hpp"

namespace avoip::gw {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

/// Within this an answer is given in any case, with something left for the way to whoever wants it.
constexpr Span kInAnyCase = 5'700ms;
constexpr Span kForEachRoute = 50ms;

/// What is left of that when a change was sent at the last moment.
constexpr Span kSendingLeaves = 2'200ms;

struct RouteCommands {
    const char* set;
    const char* clear;
    const char* setAll;  ///< null: there is none
    const char* clearAll;
};
constexpr std::array<RouteCommands, kRouteKinds> kCommands{{
    {"matrix set", "matrix clear", "matrix all set", nullptr},
    {"serial matrix set", "serial matrix clear", "serial matrix all set",
     "serial matrix all clear"},
    {"ir matrix set", "ir matrix clear", nullptr, nullptr},
}};

const RouteCommands& commandsOf(RouteKind kind) {
    return kCommands.at(static_cast<std::size_t>(kind));
}

/// The change of one decoder's route.
Request changeOf(const RouteWish& wish) {
    const RouteCommands& commands = commandsOf(wish.kind);
    if (wish.encoder.empty()) {
        return {Catalogue_findText(commands.clear), {wish.decoder}};
    }
    return {Catalogue_findText(commands.set), {wish.encoder, wish.decoder}};
}

/// The change of all decoders' routes at once; nothing where the daemon has no command for it.
std::optional<Request> changeOfAll(RouteKind kind, const std::string& encoder) {
    const RouteCommands& commands = commandsOf(kind);
    const char* const text = encoder.empty() ? commands.clearAll : commands.setAll;
    if (text == nullptr) {
        return std::nullopt;
    }
    return Request{Catalogue_findText(text),
                   encoder.empty() ? std::vector<std::string>{} : std::vector{encoder}};
}

/// An encoder that a line can carry as one of its words.
std::optional<Problem> problemOfEncoder(const State& state, const RouteWish& wish,
                                        const std::string& field) {
    if (wish.encoder.empty()) {
        return std::nullopt;
    }
    if (auto problem =
            Problem_ofValue(changeOf(wish).command->arguments.front(), wish.encoder, field)) {
        return problem;
    }
    return Problem_ofDevice(state, wish.encoder, DeviceKind::kEncoder, field);
}

std::string fieldOf(const RouteWish& wish) {
    return std::string(RouteKind_name(wish.kind)) + "." + wish.decoder;
}

/// What stands in the way of a route, but for locks.
std::optional<Problem> problemOf(const State& state, const RouteWish& wish,
                                 const std::string& decoderField, const std::string& encoderField) {
    if (auto problem = Problem_ofDevice(state, wish.decoder, DeviceKind::kDecoder, decoderField)) {
        return problem;
    }
    return problemOfEncoder(state, wish, encoderField);
}

std::vector<RouteWish> wishesOf(const RouteTable& routes) {
    std::vector<RouteWish> wishes;
    for (const RouteKind kind : kAllRouteKinds) {
        for (const auto& [decoder, encoder] : routes.at(static_cast<std::size_t>(kind))) {
            wishes.push_back({kind, decoder, encoder});
        }
    }
    return wishes;
}

std::set<std::string> decodersOf(const std::vector<RouteWish>& wishes) {
    std::set<std::string> decoders;
    for (const RouteWish& wish : wishes) {
        decoders.insert(wish.decoder);
    }
    return decoders;
}

/// Routes that are set together: what is sent for them, and which of them it is for.
struct Sending {
    Request command;
    std::vector<std::size_t> results;
};

struct Deadlines {
    Moment send;
    Moment confirm;
};

Deadlines deadlinesFor(std::size_t routes) {
    const Moment end = Steady::now() + kInAnyCase + kForEachRoute * static_cast<int>(routes);
    return {end - kSendingLeaves, end};
}

/// Sends one command, and notes what came of it. Gives the reply.
Reply sendOne(const Operations& operations, const Sending& sending, Moment until,
              std::vector<RouteResult>& results) {
    const Moment patience = Steady::now() + kTurnPatience;
    Reply reply = operations.asking.send(sending.command, std::min(patience, until));
    for (const std::size_t place : sending.results) {
        results[place].ok = Reply_isSent(reply);
        results[place].problem = results[place].ok ? "" : Problem_of(reply).detail;
    }
    return reply;
}

/// Sends everything. The problem when nothing could be sent, because there was nobody to send it
/// to; what comes behind a daemon that is gone is not tried.
std::optional<Problem> sendAll(const Operations& operations, const std::vector<Sending>& sendings,
                               Moment until, std::vector<RouteResult>& results) {
    bool any = false;
    std::optional<Problem> gone;
    for (const Sending& sending : sendings) {
        if (!gone && any && Steady::now() >= until) {
            gone = Problem{504, "There was no time left to send it."};
        }
        if (gone) {
            for (const std::size_t place : sending.results) {
                results[place].problem = gone->detail;
            }
            continue;
        }
        const Reply reply = sendOne(operations, sending, until, results);
        any = any || Reply_isSent(reply);
        if (reply.end == End::kNoDaemon || reply.end == End::kNoTurn ||
            reply.end == End::kNoAnswer) {
            gone = Problem_of(reply);
        }
    }
    return any ? std::nullopt : gone;
}

bool isOnline(SharedState& state, const std::string& id) {
    return state.with([&](const State& held) {
        const Device* const device = State_device(held, id);
        return device != nullptr && device->online;
    });
}

/// Asks back what was sent to devices that are there.
void confirmAll(const Operations& operations, Moment until, std::vector<RouteResult>& results) {
    std::vector<Request> changes;
    std::vector<RouteResult*> asked;
    for (RouteResult& result : results) {
        if (result.ok && isOnline(operations.state, result.wish.decoder)) {
            changes.push_back(changeOf(result.wish));
            asked.push_back(&result);
        }
    }
    const std::vector<Verdict> verdicts = operations.asking.confirm(changes, until);
    for (std::size_t i = 0; i < asked.size(); ++i) {
        asked[i]->confirmed = verdicts[i] == Verdict::kConfirmed;
    }
}

/// Sends and confirms. `results` are what is wanted, with what is known to be wrong already.
Outcome<std::vector<RouteResult>> carryOut(const Operations& operations,
                                           std::vector<RouteResult> results,
                                           const std::vector<Sending>& sendings) {
    const Deadlines deadlines = deadlinesFor(results.size());
    if (auto problem = sendAll(operations, sendings, deadlines.send, results)) {
        return *problem;
    }
    confirmAll(operations, deadlines.confirm, results);
    return results;
}

/// The results and commands of an order whose devices are known and whose decoders are free.
struct Plan {
    std::vector<RouteResult> results = {};
    std::vector<Sending> sendings = {};
};

void addWish(Plan& plan, const RouteWish& wish) {
    plan.sendings.push_back({changeOf(wish), {plan.results.size()}});
    plan.results.push_back({wish});
}

void addAll(Plan& plan, const State& state, RouteKind kind, const std::string& encoder) {
    const auto together = changeOfAll(kind, encoder);
    Sending all{together.value_or(Request{nullptr}), {}};
    for (const auto& [decoder, route] : state.routes.at(static_cast<std::size_t>(kind))) {
        const RouteWish wish{kind, decoder, encoder};
        if (together) {
            all.results.push_back(plan.results.size());
            plan.results.push_back({wish});
        } else {
            addWish(plan, wish);
        }
    }
    if (together) {
        plan.sendings.push_back(std::move(all));
    }
}

/// What stands in the way of an order, in the order: what cannot be, what is not known, locks.
std::optional<Problem> problemOf(const State& state, const Actor& actor, const RouteOrder& order) {
    std::vector<RouteWish> wishes = wishesOf(order.routes);
    for (const RouteWish& wish : wishes) {
        const std::string field = fieldOf(wish);
        if (auto problem = problemOf(state, wish, field, field)) {
            return problem;
        }
    }
    for (const RouteKind kind : kAllRouteKinds) {
        const auto& all = order.all.at(static_cast<std::size_t>(kind));
        if (!all) {
            continue;
        }
        const std::string field = std::string(RouteKind_name(kind)) + ".all";
        if (auto problem = problemOfEncoder(state, {kind, "", *all}, field)) {
            return problem;
        }
        for (const auto& [decoder, route] : state.routes.at(static_cast<std::size_t>(kind))) {
            wishes.push_back({kind, decoder, *all});
        }
    }
    return Problem_ofLocks(state, actor, decodersOf(wishes));
}

/// Reads the routes of a decoder that were never heard; the problem when it does not tell them.
std::optional<Problem> readUnheard(const Operations& operations, const std::string& decoder,
                                   const std::vector<RouteKind>& kinds, Moment until) {
    std::vector<Request> reads;
    operations.state.with([&](const State& state) {
        for (const RouteKind kind : kinds) {
            const Route* const route = State_route(state, kind, decoder);
            if (route != nullptr && !route->seenAt) {
                reads.push_back({&RouteKind_read(kind), {decoder}});
            }
        }
        return 0;
    });
    if (reads.empty()) {
        return std::nullopt;
    }
    const Batch batch = operations.asking.read(reads, until);
    if (batch.outcome.succeeded()) {
        return std::nullopt;
    }
    Problem problem = Problem_of(batch.outcome);
    problem.status = problem.status == 502 ? 504 : problem.status;
    problem.detail = "The routes of \"" + decoder + "\" are not known: " + problem.detail;
    return problem;
}

}  // namespace

std::optional<Problem> Routes_problemOfIds(const RouteTable& routes, const std::string& path) {
    for (const RouteWish& wish : wishesOf(routes)) {
        const Request change = changeOf(wish);
        for (std::size_t i = 0; i < change.values.size(); ++i) {
            if (auto problem = Problem_ofValue(change.command->arguments[i], change.values[i],
                                               path + fieldOf(wish))) {
                return problem;
            }
        }
    }
    return std::nullopt;
}

Outcome<RouteResult> Routes_set(Operations& operations, const Actor& actor, const RouteWish& wish) {
    const auto problem = operations.state.with([&](const State& state) {
        auto found = problemOf(state, wish, "id", "encoder");
        return found ? found : Problem_ofLocks(state, actor, {wish.decoder});
    });
    if (problem) {
        return *problem;
    }
    const Deadlines deadlines = deadlinesFor(0);
    std::vector<RouteResult> results{{wish}};
    const Reply reply = sendOne(operations, {changeOf(wish), {0}}, deadlines.send, results);
    if (!results.front().ok) {
        return Problem_of(reply);
    }
    confirmAll(operations, deadlines.confirm, results);
    return results.front();
}

Outcome<std::vector<RouteResult>> Routes_setMany(Operations& operations, const Actor& actor,
                                                 const RouteOrder& order) {
    Plan plan;
    const auto problem = operations.state.with([&](const State& state) {
        auto found = problemOf(state, actor, order);
        if (!found) {
            for (const RouteWish& wish : wishesOf(order.routes)) {
                addWish(plan, wish);
            }
            for (const RouteKind kind : kAllRouteKinds) {
                if (const auto& all = order.all.at(static_cast<std::size_t>(kind))) {
                    addAll(plan, state, kind, *all);
                }
            }
        }
        return found;
    });
    if (problem) {
        return *problem;
    }
    return carryOut(operations, std::move(plan.results), plan.sendings);
}

Outcome<std::vector<RouteResult>> Routes_recall(Operations& operations, const Actor& actor,
                                                const RouteTable& routes) {
    Plan plan;
    const std::vector<RouteWish> wishes = wishesOf(routes);
    const auto locked = operations.state.with([&](const State& state) {
        for (const RouteWish& wish : wishes) {
            if (const auto problem = problemOf(state, wish, "", "")) {
                plan.results.push_back({wish, false, false, problem->detail});
            } else {
                addWish(plan, wish);
            }
        }
        return Problem_ofLocks(state, actor, decodersOf(wishes));
    });
    if (locked) {
        return *locked;
    }
    return carryOut(operations, std::move(plan.results), plan.sendings);
}

Outcome<RouteTable> Routes_capture(Operations& operations, const std::vector<std::string>& decoders,
                                   const std::vector<RouteKind>& kinds) {
    const auto problem = operations.state.with([&](const State& state) {
        std::optional<Problem> found;
        for (const std::string& decoder : decoders) {
            found =
                found ? found
                      : Problem_ofDevice(state, decoder, DeviceKind::kDecoder, "capture.decoders");
        }
        return found;
    });
    if (problem) {
        return *problem;
    }
    const Moment until = deadlinesFor(decoders.size() * kinds.size()).confirm;
    for (const std::string& decoder : decoders) {
        if (const auto unknown = readUnheard(operations, decoder, kinds, until)) {
            return *unknown;
        }
    }
    RouteTable table;
    operations.state.with([&](const State& state) {
        for (const RouteKind kind : kinds) {
            for (const std::string& decoder : decoders) {
                const Route* const route = State_route(state, kind, decoder);
                table.at(static_cast<std::size_t>(kind))[decoder] =
                    route == nullptr ? "" : route->encoder;
            }
        }
        return 0;
    });
    return table;
}

}  // namespace avoip::gw
