// The log, the description of the API, health and metrics.
#include <charconv>
#include <limits>

#include "gateway/api/description.hpp"
#include "gateway/api/handlers.hpp"
#include "gateway/api/journal.hpp"

namespace avoip::gw::handlers {
namespace {

constexpr std::int64_t kLimitMax = 1000;
constexpr std::int64_t kLimitDefault = 100;
constexpr std::size_t kSearchMax = 200;

/// A parameter that is a number from 1 to `most`.
std::int64_t numberOf(const Call& call, std::string_view name, std::int64_t most,
                      std::int64_t otherwise) {
    const auto found = call.query.find(name);
    if (found == call.query.end()) {
        return otherwise;
    }
    const std::string& text = found->second;
    std::int64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    if (read.ec != std::errc{} || read.ptr != text.data() + text.size() || number < 1 ||
        number > most) {
        throw Problem{
            422,
            std::string(name) + " must be a whole number from 1 to " + std::to_string(most) + ".",
            std::string(name)};
    }
    return number;
}

/// What is so at the moment, for the metrics.
MetricsFacts factsOf(const State& state) {
    MetricsFacts facts;
    facts.version = state.version;
    facts.up = state.daemon.state == DaemonState::kOk;
    facts.mqttConnected = state.broker.state == "connected";
    for (const auto& [id, device] : state.devices) {
        facts.devices.push_back(
            {id, DeviceType_name(device.type), device.online,
             std::chrono::duration<double>(device.lastSeen.time_since_epoch()).count()});
    }
    return facts;
}

}  // namespace

Response log(Gateway& gateway, Call& call) {
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const std::int64_t before = numberOf(call, "before", most, most);
    const auto limit = static_cast<int>(numberOf(call, "limit", kLimitMax, kLimitDefault));
    const auto wanted = call.query.find("q");
    if (wanted != call.query.end() && wanted->second.size() > kSearchMax) {
        throw Problem{422, "q may have " + std::to_string(kSearchMax) + " bytes at most.", "q"};
    }
    std::string text = "{\"entries\":[";
    const char* separator = "";
    for (const LogEntry& entry : Store_readLog(gateway.store, before, limit,
                                               wanted == call.query.end() ? "" : wanted->second)) {
        text.append(separator).append(LogEntry_json(entry));
        separator = ",";
    }
    return Response_json(text.append("]}"));
}

Response description(Gateway& gateway, Call& /*call*/) {
    return Response_json(Description_text(gateway.version));
}

Response live(Gateway& /*gateway*/, Call& /*call*/) {
    return Response_json(R"({"status":"ok"})");
}

Response ready(Gateway& gateway, Call& /*call*/) {
    const DaemonHealth health = gateway.state.with([](const State& state) { return state.daemon; });
    if (health.state != DaemonState::kOk) {
        throw Problem{503, "The daemon is " + std::string(DaemonState_name(health.state)) +
                               (health.reason.empty() ? "." : ": " + health.reason)};
    }
    return Response_json(R"({"status":"ok"})");
}

Response metrics(Gateway& gateway, Call& call) {
    MetricsFacts facts = gateway.state.with(factsOf);
    facts.sseClients = Feed_clients(gateway.feed);
    const bool open = call.accept.find("application/openmetrics-text") != std::string::npos;
    Response response = Response_json(Metrics_text(gateway.metrics, facts, open));
    response.type = open ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                         : "text/plain; version=0.0.4; charset=utf-8";
    return response;
}

}  // namespace avoip::gw::handlers
