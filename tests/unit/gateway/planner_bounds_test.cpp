// The bounds that polling keeps to, in made-up time, over thousands of made-up fleets.
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "gateway/planner/planner.hpp"
#include "gtest/gtest.h"
#include "seeds.hpp"

namespace avoip::gw {
namespace {

using namespace std::chrono_literals;

constexpr std::uint64_t kSeeds = 200;

/// The most that any stretch of `window` holds of these: one that begins with one of them, or ends
/// with one of them, holds the most.
Span mostIn(const std::vector<Taken>& taken, Span window) {
    Span most{0};
    Span sum{0};
    std::size_t first = 0;
    for (const Taken& last : taken) {
        sum += std::chrono::floor<Span>(last.to - last.from);
        const Moment begin = last.to - window;
        while (taken[first].to <= begin) {
            sum -= std::chrono::floor<Span>(taken[first].to - taken[first].from);
            ++first;
        }
        const Span before =
            taken[first].from < begin ? std::chrono::floor<Span>(begin - taken[first].from) : 0us;
        most = std::max(most, sum - before);
    }
    return most;
}

struct SimulatedDecoder {
    Span latency{0};
    bool listed = true;
    bool silent = false;
    std::array<bool, kRouteKinds> lacks = {};
};

/// A fleet, somebody who reads from it now and then, and a planner that polls it.
class Simulation {
  public:
    Simulation(std::uint64_t seed, bool answers) : random_(seed), answers_(answers) {
        const std::uint64_t count = below(4) == 0 ? 300 : 1 + below(40);
        for (std::uint64_t i = 0; i < count; ++i) {
            SimulatedDecoder& decoder = decoders_["RX-" + std::to_string(i)];
            // Most are quick; some take as long as is possible at all.
            decoder.latency = below(20) == 0 ? Span(below(400'000)) : Span(300 + below(4'000));
            if (!answers) {
                decoder.silent = below(3) == 0;
                decoder.listed = below(6) != 0;
                decoder.lacks = {false, below(3) == 0, below(3) == 0};
            }
        }
        silence_ = 500ms + Span(below(300'000));
    }

    void run(Span length) {
        for (const Moment end = now_ + length; now_ < end;) {
            const Poll poll = Planner_next(planner_, now_, clean_, below(10) != 0);
            switch (poll.kind) {
                case PollKind::kNothing:
                    now_ = std::max(poll.at, now_ + 1us) + Span(below(3'000));
                    break;
                case PollKind::kListing:
                    list();
                    break;
                case PollKind::kRoutes:
                    read(poll);
                    break;
            }
            disturb();
        }
    }

    std::vector<Taken> answered;
    std::vector<Taken> unanswered;
    std::set<std::string> readOnes;
    std::vector<Span> rounds;
    std::size_t decoders() const { return decoders_.size(); }

  private:
    std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

    void list() {
        const Moment from = now_;
        now_ += silence_ + silence_ * static_cast<int>(below(200)) / 1000;
        answered.push_back({from, now_});
        std::vector<std::string> heard;
        for (const auto& [id, decoder] : decoders_) {
            if (decoder.listed) {
                heard.push_back(id);
            }
        }
        clean_ = true;
        Planner_listed(planner_, heard, from, now_);
    }

    /// Asks one question; false when it brings nothing.
    bool ask(const SimulatedDecoder& decoder, bool lacks) {
        if (decoder.silent || lacks) {
            now_ += 3s + Span(below(20'000));
            return false;
        }
        now_ += decoder.latency + decoder.latency * static_cast<int>(below(200)) / 1000;
        return true;
    }

    PollOutcome askAll(const Poll& poll) {
        const Moment from = now_;
        const SimulatedDecoder& decoder = decoders_.at(poll.decoder);
        for (const RouteKind kind : poll.kinds) {
            if (now_ - from > kLongestPoll) {
                return {PollEnd::kSlow};
            }
            if (!ask(decoder, decoder.lacks.at(static_cast<std::size_t>(kind)))) {
                clean_ = false;
                return {PollEnd::kSilent, kind};
            }
        }
        if (now_ - from > kLongestPoll) {
            return {PollEnd::kSlow};
        }
        return {ask(decoder, false) ? PollEnd::kAnswered : PollEnd::kSilent};
    }

    void read(const Poll& poll) {
        const Moment from = now_;
        const PollOutcome outcome = askAll(poll);
        (outcome.end == PollEnd::kAnswered ? answered : unanswered).push_back({from, now_});
        if (outcome.end == PollEnd::kAnswered) {
            readOnes.insert(poll.decoder);
        }
        clean_ = clean_ && outcome.end == PollEnd::kAnswered;
        if (const auto round = Planner_polled(planner_, poll, outcome, from, now_)) {
            rounds.push_back(*round);
        }
    }

    /// Others have their turns, and leave replies in the socket now and then.
    void disturb() {
        if (below(200) == 0) {
            now_ += Span(below(2'000'000));
            clean_ = clean_ && below(3) != 0;
        }
        if (!answers_ && below(300) == 0) {
            auto place = decoders_.begin();
            std::advance(place, static_cast<std::ptrdiff_t>(below(decoders_.size())));
            place->second.silent = below(2) == 0;
            place->second.listed = below(2) == 0;
        }
    }

    std::mt19937_64 random_;
    bool answers_;
    std::map<std::string, SimulatedDecoder> decoders_;
    Span silence_{0};
    Planner planner_{{}};
    Moment now_ = Moment{} + 1h;
    bool clean_ = false;
};

TEST(PollingBounds, a_fleet_that_answers_costs_at_most_a_fifth_of_any_ten_seconds) {
    for (std::uint64_t seed = 0; seed < seeds(kSeeds); ++seed) {
        Simulation simulation(seed, true);
        simulation.run(60s);
        ASSERT_LE(mostIn(simulation.answered, 10s), Span(2s)) << "seed " << seed;
        ASSERT_TRUE(simulation.unanswered.empty()) << "seed " << seed;
    }
}

TEST(PollingBounds, silent_devices_cost_at_most_a_quarter_of_any_minute) {
    for (std::uint64_t seed = 0; seed < seeds(kSeeds); ++seed) {
        Simulation simulation(seed, false);
        simulation.run(180s);
        ASSERT_LE(mostIn(simulation.unanswered, 60s), Span(15s)) << "seed " << seed;
        ASSERT_LE(mostIn(simulation.answered, 10s), Span(2s)) << "seed " << seed;
    }
}

TEST(PollingBounds, leave_room_to_read_all_that_answer) {
    for (std::uint64_t seed = 0; seed < seeds(20); ++seed) {
        Simulation simulation(seed, true);
        simulation.run(400s);
        EXPECT_EQ(simulation.readOnes.size(), simulation.decoders()) << "seed " << seed;
        EXPECT_GE(simulation.rounds.size(), 2U) << "seed " << seed;
    }
}

}  // namespace
}  // namespace avoip::gw
