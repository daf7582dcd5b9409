// What the gateway counts and measures, and the two text formats in which it is asked for.
//
// May be called from any thread. What is told of the fleet comes in with the question.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace avoip::gw {

/// How often something took how long, in buckets that are the same for all.
struct Histogram {
    static constexpr std::array<double, 13> kBounds_s{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                                      0.25,  0.5,    1,     2.5,  5,     10};
    std::array<std::uint64_t, kBounds_s.size() + 1> counts{};
    double sum_s = 0;
};

struct Metrics {
    std::mutex mutex;
    /// By method, route and status; by command and result.
    std::map<std::tuple<std::string, std::string, int>, std::uint64_t> requests;
    std::map<std::pair<std::string, std::string>, std::uint64_t> commands;
    Histogram command;
    Histogram turn;
    double pollRound_s = 0;
};

/// An answered request. `route` is the path as it is described, not as it was asked for.
void Metrics_countRequest(Metrics& metrics, std::string_view method, std::string_view route,
                          int status);

/// A command of the console by its text, such as "matrix get", how it ended and how long it took.
void Metrics_countCommand(Metrics& metrics, std::string_view command, std::string_view result,
                          double seconds);

/// How long a turn was waited for.
void Metrics_countTurn(Metrics& metrics, double seconds);

/// How long the last round over all routes took.
void Metrics_pollRound(Metrics& metrics, double seconds);

/// What is so at the moment.
struct MetricsFacts {
    std::string version;
    bool up = false;
    bool mqttConnected = false;
    std::size_t sseClients = 0;
    struct Device {
        std::string id;
        std::string_view type;
        bool online = false;
        double lastSeen_s = 0;
    };
    std::vector<Device> devices;
};

/// Everything as text: OpenMetrics, or the Prometheus text format 0.0.4.
std::string Metrics_text(Metrics& metrics, const MetricsFacts& facts, bool openMetrics);

}  // namespace avoip::gw
