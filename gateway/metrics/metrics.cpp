#include "gateway/metrics/metrics.hpp"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <utility>

#include "gateway/metrics/process.hpp"

namespace avoip::gw {
namespace {

using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;

std::string number(double value) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

/// As OpenMetrics writes a bound: with a point always.
std::string boundText(double value) {
    std::string text = number(value);
    return text.find('.') == std::string::npos ? text + ".0" : text;
}

/// Puts one family after the other into a text.
class Page {
  public:
    explicit Page(bool openMetrics) : openMetrics_(openMetrics) {}

    /// Begins a family. The name of a counter is given without its "_total".
    void family(std::string_view name, std::string_view type, std::string_view help) {
        const std::string_view suffix = type == "counter" && !openMetrics_ ? "_total" : "";
        name_ = name;
        text_.append("# HELP ").append(name).append(suffix).append(" ").append(help);
        text_.append("\n# TYPE ").append(name).append(suffix).append(" ").append(type);
        text_.append("\n");
    }

    void sample(double value, Labels labels = {}, std::string_view suffix = "") {
        text_.append(name_).append(suffix);
        const char* separator = "{";
        for (const auto& [label, content] : labels) {
            text_.append(separator).append(label).append("=\"").append(escaped(content));
            text_.append("\"");
            separator = ",";
        }
        text_.append(labels.size() > 0 ? "} " : " ").append(number(value)).append("\n");
    }

    void single(std::string_view name, std::string_view type, std::string_view help, double value) {
        family(name, type, help);
        sample(value, {}, type == "counter" ? "_total" : "");
    }

    void histogram(std::string_view name, std::string_view help, const Histogram& histogram) {
        family(name, "histogram", help);
        std::uint64_t count = 0;
        for (std::size_t at = 0; at < histogram.counts.size(); ++at) {
            count += histogram.counts[at];
            const std::string bound = at < Histogram::kBounds_s.size()
                                          ? boundText(Histogram::kBounds_s[at])
                                          : std::string("+Inf");
            sample(static_cast<double>(count), {{"le", bound}}, "_bucket");
        }
        sample(histogram.sum_s, {}, "_sum");
        sample(static_cast<double>(count), {}, "_count");
    }

    std::string take() {
        text_.append(openMetrics_ ? "# EOF\n" : "");
        return std::move(text_);
    }

  private:
    static std::string escaped(std::string_view content) {
        std::string text;
        for (const char letter : content) {
            text.append(letter == '\\' || letter == '"' ? "\\" : "");
            text.append(letter == '\n' ? "\\n" : std::string(1, letter));
        }
        return text;
    }

    bool openMetrics_;
    std::string name_;
    std::string text_;
};

void add(Histogram& histogram, double seconds) {
    const auto* const bound =
        std::lower_bound(Histogram::kBounds_s.begin(), Histogram::kBounds_s.end(), seconds);
    ++histogram.counts[static_cast<std::size_t>(bound - Histogram::kBounds_s.begin())];
    histogram.sum_s += seconds;
}

void writeFleet(Page& page, const MetricsFacts& facts) {
    page.single("avoip_up", "gauge", "Whether the daemon serves (1) or not (0).", facts.up ? 1 : 0);
    page.family("avoip_devices", "gauge", "Known devices.");
    for (const std::string_view type : {"encoder", "decoder", "unknown"}) {
        for (const bool online : {true, false}) {
            const auto count = std::count_if(
                facts.devices.begin(), facts.devices.end(),
                [&](const auto& each) { return each.type == type && each.online == online; });
            page.sample(static_cast<double>(count),
                        {{"type", type}, {"online", online ? "true" : "false"}});
        }
    }
    page.family("avoip_device_last_seen_timestamp_seconds", "gauge",
                "When a device was heard last, in seconds since 1970.");
    for (const auto& device : facts.devices) {
        page.sample(device.lastSeen_s, {{"id", device.id}});
    }
}

void writeCounts(Page& page, const Metrics& metrics) {
    page.family("avoip_commands", "counter", "Commands sent to the daemon's console.");
    for (const auto& [key, count] : metrics.commands) {
        page.sample(static_cast<double>(count), {{"command", key.first}, {"result", key.second}},
                    "_total");
    }
    page.histogram("avoip_command_seconds", "How long commands of the console took.",
                   metrics.command);
    page.histogram("avoip_turn_wait_seconds", "How long the turn at the console was waited for.",
                   metrics.turn);
    page.single("avoip_poll_round_seconds", "gauge",
                "How long the last round over all routes took.", metrics.pollRound_s);
    page.family("avoip_http_requests", "counter", "Answered HTTP requests.");
    for (const auto& [key, count] : metrics.requests) {
        const auto& [method, route, status] = key;
        page.sample(static_cast<double>(count),
                    {{"method", method}, {"route", route}, {"status", std::to_string(status)}},
                    "_total");
    }
}

void writeProcess(Page& page) {
    const ProcessFacts facts = Process_read();
    page.single("process_cpu_seconds", "counter", "Processor time used, in seconds.", facts.cpu_s);
    page.single("process_open_fds", "gauge", "Open descriptors.", facts.openDescriptors);
    page.single("process_max_fds", "gauge", "Most descriptors allowed.", facts.maxDescriptors);
    page.single("process_virtual_memory_bytes", "gauge", "Virtual memory, in bytes.",
                facts.virtual_bytes);
    page.single("process_resident_memory_bytes", "gauge", "Resident memory, in bytes.",
                facts.resident_bytes);
    page.single("process_start_time_seconds", "gauge", "Start of the process, since 1970.",
                facts.startTime_s);
}

}  // namespace

void Metrics_countRequest(Metrics& metrics, std::string_view method, std::string_view route,
                          int status) {
    const std::lock_guard lock(metrics.mutex);
    ++metrics.requests[{std::string(method), std::string(route), status}];
}

void Metrics_countCommand(Metrics& metrics, std::string_view command, std::string_view result,
                          double seconds) {
    const std::lock_guard lock(metrics.mutex);
    ++metrics.commands[{std::string(command), std::string(result)}];
    add(metrics.command, seconds);
}

void Metrics_countTurn(Metrics& metrics, double seconds) {
    const std::lock_guard lock(metrics.mutex);
    add(metrics.turn, seconds);
}

void Metrics_pollRound(Metrics& metrics, double seconds) {
    const std::lock_guard lock(metrics.mutex);
    metrics.pollRound_s = seconds;
}

std::string Metrics_text(Metrics& metrics, const MetricsFacts& facts, bool openMetrics) {
    Page page(openMetrics);
    writeFleet(page, facts);
    {
        const std::lock_guard lock(metrics.mutex);
        writeCounts(page, metrics);
    }
    page.single("avoip_sse_clients", "gauge", "Clients that follow the events.",
                static_cast<double>(facts.sseClients));
    page.single("avoip_mqtt_connected", "gauge", "Whether a broker is connected (1) or not (0).",
                facts.mqttConnected ? 1 : 0);
    page.family("avoip_build_info", "gauge", "The program that this comes from.");
    page.sample(1, {{"version", facts.version}});
    writeProcess(page);
    return page.take();
}

}  // namespace avoip::gw
