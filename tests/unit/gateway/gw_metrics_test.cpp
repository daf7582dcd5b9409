// The metrics as texts.
#include <gtest/gtest.h>

#include "gateway/metrics/metrics.hpp"

namespace {

using namespace avoip::gw;

void expectLines(const std::string& text, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        EXPECT_NE(("\n" + text).find("\n" + line + "\n"), std::string::npos) << line << "\n"
                                                                             << text;
    }
}

MetricsFacts someFacts() {
    MetricsFacts facts;
    facts.version = "1.2";
    facts.up = true;
    facts.sseClients = 3;
    facts.devices = {{"rx\"1\\", "decoder", true, 12.5}, {"tx1", "encoder", false, 7}};
    return facts;
}

TEST(Metrics, are_named_as_they_are_asked_for) {
    Metrics metrics;
    Metrics_countRequest(metrics, "GET", "/api/v1/devices", 200);
    Metrics_countRequest(metrics, "GET", "/api/v1/devices", 200);
    Metrics_countCommand(metrics, "matrix get", "success", 0.02);
    Metrics_countTurn(metrics, 20);
    Metrics_pollRound(metrics, 1.5);
    expectLines(
        Metrics_text(metrics, someFacts(), false),
        {"avoip_up 1",
         "avoip_devices{type=\"decoder\",online=\"true\"} 1",
         "avoip_devices{type=\"encoder\",online=\"false\"} 1",
         "avoip_devices{type=\"unknown\",online=\"false\"} 0",
         "avoip_device_last_seen_timestamp_seconds{id=\"rx\\\"1\\\\\"} 12.5",
         "# TYPE avoip_commands_total counter",
         "avoip_commands_total{command=\"matrix get\",result=\"success\"} 1",
         "# TYPE avoip_command_seconds histogram",
         "avoip_command_seconds_bucket{le=\"0.01\"} 0",
         "avoip_command_seconds_bucket{le=\"0.025\"} 1",
         "avoip_command_seconds_sum 0.02",
         "avoip_command_seconds_count 1",
         "avoip_turn_wait_seconds_bucket{le=\"10.0\"} 0",
         "avoip_turn_wait_seconds_bucket{le=\"+Inf\"} 1",
         "avoip_poll_round_seconds 1.5",
         "avoip_http_requests_total{method=\"GET\",route=\"/api/v1/devices\",status=\"200\"} 2",
         "avoip_sse_clients 3",
         "avoip_mqtt_connected 0",
         "avoip_build_info{version=\"1.2\"} 1",
         "# TYPE process_cpu_seconds_total counter"});
}

TEST(Metrics, of_the_open_format_name_families_of_counters_without_total_and_end) {
    Metrics metrics;
    Metrics_countRequest(metrics, "GET", "none", 404);
    const std::string text = Metrics_text(metrics, someFacts(), true);
    expectLines(text,
                {"# TYPE avoip_http_requests counter", "# TYPE process_cpu_seconds counter",
                 "avoip_http_requests_total{method=\"GET\",route=\"none\",status=\"404\"} 1"});
    EXPECT_TRUE(text.ends_with("\n# EOF\n"));
}

}  // namespace
