// What the gateway costs with 1,024 devices: the list of all devices beside a bare server of the
// same bytes, events to 200 clients, and its memory.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/http.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"

namespace {

constexpr std::uint16_t kGatewayPort = 8088;
constexpr std::uint16_t kBarePort = 8089;
constexpr int kClients = 200;
constexpr int kEvents = 50;
constexpr int kRequests = 500;

std::string makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "avoipgwXXXXXX").string();
    return ::mkdtemp(pattern.data());
}

bed::DaemonOptions program(const char* path, std::vector<std::string> arguments) {
    bed::DaemonOptions options;
    options.program = path;
    options.arguments = std::move(arguments);
    return options;
}

std::unique_ptr<bed::Daemon> startFleet(const bed::Namespaces& namespaces) {
    return namespaces.onDeviceSide([] {
        bed::ip("route add local 10.77.64.0/18 dev lo");
        return std::make_unique<bed::Daemon>(
            program(AVOIPSIM_PATH, {"--encoders", "512", "--decoders", "512", "--interface", "dev0",
                                    "--first-address", "10.77.64.1"}));
    });
}

std::unique_ptr<bed::Daemon> startGateway(const std::string& folder) {
    std::ofstream(folder + "/gateway.toml") << "data = \"" << folder << "/data\"\n";
    auto gateway = std::make_unique<bed::Daemon>(
        program(AVOIPGW_PATH, {"--config", folder + "/gateway.toml"}));
    gateway->awaitError("avoipgw: serving on");
    return gateway;
}

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

std::string awaitDevices() {
    std::string list;
    bed::awaitCondition(
        "the gateway knows 1,024 devices",
        [&list] {
            list = bed::ask(kGatewayPort, "GET", "/api/v1/devices").body;
            return countOf(list, "\"online\":true") == 1024;
        },
        std::chrono::minutes(2));
    return list;
}

double ask_us(bed::Http& http) {
    const double before = bench::now_us();
    http.ask("GET", "/api/v1/devices");
    return bench::now_us() - before;
}

void compareLists(const std::string& folder, const std::string& list) {
    std::ofstream(folder + "/list") << list;
    const bed::Daemon bare(program(BARE_PATH, {std::to_string(kBarePort), folder + "/list"}));
    bed::Http ours(kGatewayPort);
    bed::Http theirs(kBarePort);
    std::vector<double> of;
    std::vector<double> by;
    for (int each = 0; each < kRequests; ++each) {
        of.push_back(ask_us(ours));
        by.push_back(ask_us(theirs));
    }
    const double ratio = bench::medianRatio(of, by);
    bench::printRow("GET /devices, 1,024 devices, p50", bench::number(bench::median(of), 0) + " us",
                    bench::number(bench::median(by), 0) + " us", bench::number(ratio, 2),
                    bench::atMost(2, ratio));
}

/// How long after its cause each event has come to the last of all clients.
std::vector<double> eventDelays(std::vector<std::unique_ptr<bed::Http>>& clients) {
    std::vector<double> delays_ms;
    bed::Http cause(kGatewayPort);
    for (int each = 0; each < kEvents; ++each) {
        const std::string note = "event " + std::to_string(each);
        const double before = bench::now_us();
        cause.ask("PUT", "/api/v1/presets/p", R"({"routes":{},"note":")" + note + "\"}");
        for (const auto& client : clients) {
            client->await(note + "\"");
        }
        delays_ms.push_back((bench::now_us() - before) / 1000);
    }
    return delays_ms;
}

void tellEvents(const bed::Daemon& gateway) {
    std::vector<std::unique_ptr<bed::Http>> clients;
    for (int each = 0; each < kClients; ++each) {
        clients.push_back(std::make_unique<bed::Http>(kGatewayPort));
        clients.back()->send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n\r\n");
        clients.back()->await(":\n\n");
    }
    const std::vector<double> delays_ms = eventDelays(clients);
    const double worst = *std::max_element(delays_ms.begin(), delays_ms.end());
    bench::printRow("an event to the last of 200 clients, its cause kept on the disk, worst of 50",
                    bench::number(worst, 1) + " ms", "", "", bench::atMost(100, worst, " ms"));
    const double resident = static_cast<double>(gateway.resident_kib());
    bench::printRow("gateway, resident, 1,024 devices and 200 clients",
                    bench::number(resident, 0) + " KiB", "", "",
                    bench::atMost(32 * 1024, resident, " KiB"));
}

void work() {
    const std::string folder = makeFolder();
    ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1);
    const bed::Namespaces namespaces;
    bed::DaemonOptions options;
    options.program = bench::daemonPath();
    bed::Daemon daemon(options);
    const auto fleet = startFleet(namespaces);
    const auto gateway = startGateway(folder);
    const std::string list = awaitDevices();
    compareLists(folder, list);
    tellEvents(*gateway);
    std::filesystem::remove_all(folder);
}

}  // namespace

int main() {
    return bench::run("gateway", work);
}
