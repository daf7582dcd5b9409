// What the gateway shows and confirms beside faults, against a model of the daemon and its devices
// in made-up time: no single fault makes it say what is not so.
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "gateway/asking/confirming.hpp"
#include "gateway/asking/polling.hpp"
#include "gtest/gtest.h"
#include "reading_model.hpp"
#include "seeds.hpp"

namespace avoip::gw {
namespace {

using namespace std::chrono_literals;
using model::Fault;

constexpr std::array kFaults{Fault::kLate, Fault::kDoubled, Fault::kLost, Fault::kForeign};
/// Those that put a wrong value under a reader's eyes, if he lets them.
constexpr std::array kMisleading{Fault::kLate, Fault::kDoubled, Fault::kForeign};
constexpr double kDeviceSilenceS = 2.9;

/// The gateway's reading side on a model: two encoders, four decoders, and faults.
class World {
  public:
    explicit World(std::uint64_t seed) : daemon(seed) {
        for (int i = 0; i < 6; ++i) {
            const bool encoder = i < 2;
            const std::string number = std::to_string(i);
            const double latency_s =
                daemon.fraction() < 0.7 ? 0.0005 + 0.004 * daemon.fraction() : 0.1;
            daemon.devices.push_back({(encoder ? "TX-" : "RX-") + number, encoder ? "TX" : "RX",
                                      "02:00:00:00:00:0" + number, latency_s});
            for (const RouteKind kind : kAllRouteKinds) {
                set("RX-" + number, kind, "TX-" + number + "-" + std::string(RouteKind_name(kind)));
            }
        }
    }

    /// What the device says of a route from now on.
    void set(const std::string& decoder, RouteKind kind, const std::string& encoder) {
        daemon.find(decoder).said[std::string(RouteKind_read(kind).text)] = encoder;
    }
    std::string said(const std::string& decoder, RouteKind kind) {
        return daemon.find(decoder).said[std::string(RouteKind_read(kind).text)];
    }

    /// Lets the polls of some time happen; `after` is called behind each.
    template <class After>
    void poll(double seconds, After after) {
        for (const double end_s = daemon.now_s() + seconds; daemon.now_s() < end_s;) {
            const Poll poll = Polling_next(polling, session.reader.clean, true);
            const Moment from = now();
            if (poll.kind == PollKind::kNothing) {
                daemon.pass(std::chrono::duration<double>(poll.at - from).count() + 1e-6);
            } else {
                const PollOutcome outcome = Polling_run(polling, poll);
                const auto round = Polling_charge(polling, poll, outcome, from);
                const double round_s =
                    std::chrono::duration<double>(round.value_or(Span{})).count();
                longestRound_s = std::max(longestRound_s, round_s);
            }
            after();
        }
    }
    void poll(double seconds) {
        poll(seconds, [] {});
    }

    /// Asks changes back, as if they had been sent just now.
    std::vector<Verdict> confirm(const std::vector<Request>& changes) {
        Confirming confirming = Confirming_begin(changes);
        for (auto next = Confirming_next(confirming); next; next = Confirming_next(confirming)) {
            if (*next > now()) {
                daemon.pass(std::chrono::duration<double>(*next - now()).count());
            }
            Confirming_look(confirming, session, state, clocks);
        }
        Polling_note(polling);
        return Confirming_verdicts(confirming);
    }

    Moment now() const { return Moment{} + 1h + Span(std::llround(daemon.now_s() * 1e6)); }

    /// Gives one of the next `among` replies a fault.
    void addFault(std::size_t among, std::span<const Fault> kinds = kFaults) {
        daemon.faults[daemon.replies + daemon.below(among)] = kinds[daemon.below(kinds.size())];
    }

    model::Daemon daemon;
    SharedState state{State_begin("epoch", Time{})};
    Session session{.reader = {.ask = [this](const Request& request) { return ask(request); }}};
    Clocks clocks{
        [this] { return now(); },
        [this] {
            return Time(std::chrono::floor<std::chrono::milliseconds>(now().time_since_epoch()));
        }};
    Polling polling{{}, session, state, clocks};
    double longestRound_s = 10;  ///< or longer, when a fifth of the turn does not suffice

  private:
    /// As the room does it: a device that is silent is told from one that says something else.
    Reply ask(const Request& request) {
        const double began_s = daemon.now_s();
        Reply reply = daemon.ask(request);
        session.last = request.command;
        session.silent = request.command->exchange.kind == ExchangeKind::kReading &&
                         reply.end == End::kFailure && daemon.now_s() - began_s >= kDeviceSilenceS;
        if (session.silent) {
            reply.end = End::kNoAnswer;
        }
        return reply;
    }
};

Request routeChange(const std::string& encoder, const std::string& decoder) {
    return {Catalogue_findText("matrix set"), {encoder, decoder}};
}

/// For how long each route that is shown has been another than the device's own.
class Wrongness {
  public:
    explicit Wrongness(World& world) : world_(world) {}

    void look() {
        const double now_s = world_.daemon.now_s();
        for (int i = 2; i < 6; ++i) {
            const std::string decoder = "RX-" + std::to_string(i);
            for (const RouteKind kind : kAllRouteKinds) {
                const bool right = world_.state.with([&](const State& state) {
                    const Route* const route = State_route(state, kind, decoder);
                    return route == nullptr || !route->seenAt ||
                           route->encoder == world_.said(decoder, kind);
                });
                double& since_s = since_s_.try_emplace({decoder, kind}, now_s).first->second;
                since_s = right ? now_s : since_s;
                longest_s = std::max(longest_s, now_s - since_s);
            }
        }
    }

    double longest_s = 0;

  private:
    World& world_;
    std::map<std::pair<std::string, RouteKind>, double> since_s_;
};

/// What finds place between rounds: listings, and silent devices.
constexpr double kBetweenS = 12;

}  // namespace

TEST(Truth, shows_what_devices_say_without_faults) {
    for (std::uint64_t seed = 0; seed < seeds(50); ++seed) {
        World world(seed);
        world.poll(60);
        for (int i = 2; i < 6; ++i) {
            const std::string decoder = "RX-" + std::to_string(i);
            for (const RouteKind kind : kAllRouteKinds) {
                const std::string shown = world.state.with(
                    [&](const State& state) { return State_route(state, kind, decoder)->encoder; });
                EXPECT_EQ(shown, world.said(decoder, kind)) << "seed " << seed;
            }
        }
    }
}

TEST(Truth, one_fault_never_makes_a_route_that_is_not_so) {
    for (std::uint64_t seed = 0; seed < seeds(150); ++seed) {
        World world(seed);
        world.addFault(60);
        // Nothing changes, so that anything else that is shown would be wrong.
        Wrongness wrongness(world);
        world.poll(15, [&] { wrongness.look(); });
        ASSERT_EQ(wrongness.longest_s, 0) << "seed " << seed;
    }
}

TEST(Truth, what_changes_is_shown_within_two_rounds_beside_a_fault) {
    for (std::uint64_t seed = 0; seed < seeds(30); ++seed) {
        World world(seed);
        world.poll(60);
        Wrongness wrongness(world);
        for (int change = 0; change < 6; ++change) {
            const std::string decoder = "RX-" + std::to_string(2 + world.daemon.below(4));
            world.set(decoder, RouteKind::kVideo, "TX-change" + std::to_string(change));
            world.addFault(40, kMisleading);
            world.poll(40, [&] { wrongness.look(); });
        }
        ASSERT_LE(wrongness.longest_s, 2 * world.longestRound_s + kBetweenS) << "seed " << seed;
    }
}

TEST(Truth, no_wrong_route_is_confirmed_beside_one_fault_or_two) {
    int confirmed = 0;
    int obeyed = 0;
    for (std::uint64_t seed = 0; seed < seeds(200); ++seed) {
        World world(seed);
        world.poll(5);
        for (std::uint64_t count = 1 + seed % 2; count > 0; --count) {
            world.addFault(24);
        }
        std::vector<Request> changes;
        std::vector<bool> obeys;
        for (int i = 2; i < 5; ++i) {
            const std::string decoder = "RX-" + std::to_string(i);
            changes.push_back(routeChange("TX-1", decoder));
            obeys.push_back(world.daemon.below(2) == 0);
            if (obeys.back()) {
                world.set(decoder, RouteKind::kVideo, "TX-1");
            }
        }
        const std::vector<Verdict> verdicts = world.confirm(changes);
        for (std::size_t i = 0; i < verdicts.size(); ++i) {
            const bool isConfirmed = verdicts[i] == Verdict::kConfirmed;
            ASSERT_TRUE(obeys[i] || !isConfirmed) << "seed " << seed << ", change " << i;
            confirmed += isConfirmed ? 1 : 0;
            obeyed += obeys[i] ? 1 : 0;
        }
    }
    // Faults are no reason not to see what is so.
    EXPECT_GT(confirmed, obeyed * 80 / 100);
}

TEST(Truth, a_late_reply_of_before_confirms_nothing) {
    for (const double late_s : {0.0, 0.01, 0.3, 0.6, 2.0}) {
        World world(3);
        world.poll(5);
        // It said so when it was asked before the change; now it says something else.
        world.set("RX-2", RouteKind::kVideo, "TX-1");
        world.daemon.sendStray(RouteKind_read(RouteKind::kVideo), world.daemon.find("RX-2"),
                               late_s);
        world.daemon.sendStray(RouteKind_read(RouteKind::kVideo), world.daemon.find("RX-2"),
                               late_s);
        world.set("RX-2", RouteKind::kVideo, "TX-0");
        EXPECT_EQ(world.confirm({routeChange("TX-1", "RX-2")}), std::vector{Verdict::kNotConfirmed})
            << late_s;
    }
}

TEST(Truth, a_silent_device_is_asked_once_and_confirms_nothing) {
    World world(4);
    world.poll(5);
    world.daemon.find("RX-2").silent = true;
    const double began_s = world.daemon.now_s();
    EXPECT_EQ(world.confirm({routeChange("TX-1", "RX-2"), routeChange("TX-1", "RX-3")}),
              (std::vector{Verdict::kNotConfirmed, Verdict::kNotConfirmed}));
    EXPECT_LT(world.daemon.now_s() - began_s, 6.5);
}

TEST(Truth, silent_devices_keep_no_other_from_being_confirmed_in_time) {
    World world(7);
    world.poll(30);
    std::vector<Request> changes;
    for (const std::string decoder : {"RX-2", "RX-3", "RX-4", "RX-5"}) {
        world.set(decoder, RouteKind::kVideo, "TX-1");
        changes.push_back(routeChange("TX-1", decoder));
    }
    world.daemon.find("RX-2").silent = true;
    world.daemon.find("RX-3").silent = true;
    const double until_s = world.daemon.now_s() + 6;
    Confirming confirming = Confirming_begin(changes);
    while (world.daemon.now_s() < until_s && Confirming_next(confirming)) {
        Confirming_look(confirming, world.session, world.state, world.clocks);
    }
    EXPECT_EQ(Confirming_verdicts(confirming),
              (std::vector{Verdict::kNotConfirmed, Verdict::kNotConfirmed, Verdict::kConfirmed,
                           Verdict::kConfirmed}));
}

TEST(Truth, a_device_that_takes_its_time_is_asked_again) {
    World world(5);
    world.poll(5);
    const double began_s = world.daemon.now_s();
    Confirming confirming = Confirming_begin(std::vector{routeChange("TX-1", "RX-2")});
    for (auto next = Confirming_next(confirming); next; next = Confirming_next(confirming)) {
        world.daemon.pass(
            std::max(0.0, std::chrono::duration<double>(*next - world.now()).count()));
        if (world.daemon.now_s() > began_s + 1.5) {
            world.set("RX-2", RouteKind::kVideo, "TX-1");
        }
        Confirming_look(confirming, world.session, world.state, world.clocks);
    }
    EXPECT_EQ(Confirming_verdicts(confirming), std::vector{Verdict::kConfirmed});
}

TEST(Truth, two_devices_of_one_identity_show_no_route_of_either) {
    World world(6);
    auto twin = world.daemon.find("RX-2");
    twin.mac = "02:00:00:00:00:ff";
    twin.said["matrix get"] = "TX-other";
    world.daemon.devices.push_back(twin);
    world.poll(30);
    world.state.with([](const State& state) {
        EXPECT_TRUE(State_device(state, "RX-2")->duplicate);
        EXPECT_TRUE(State_route(state, RouteKind::kVideo, "RX-3")->seenAt);
        return 0;
    });
}

}  // namespace avoip::gw
