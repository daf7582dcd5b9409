// What the gateway costs. With 1,024 devices: the list of all devices beside a bare server of the
// same bytes, events to 200 clients, its memory, and how much of the front ends' turn its polls
// take. With 256 decoders: how long a route takes from the call to the wire, beside the front end
// library on a controller where no gateway polls.
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bed/daemon.hpp"
#include "bed/http.hpp"
#include "bed/ip_tool.hpp"
#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"
#include "bench/wire.hpp"
#include "lib/frontend/avoip_frontend.h"

namespace {

constexpr std::uint16_t kGatewayPort = 8088;
constexpr std::uint16_t kBarePort = 8089;
constexpr int kClients = 200;
constexpr int kEvents = 50;
constexpr int kRequests = 500;
constexpr int kRoutes = 500;
constexpr int kRoutedDecoders = 256;
constexpr std::chrono::seconds kTurnWatched{45};

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

std::unique_ptr<bed::Daemon> startFleet(const bed::Namespaces& namespaces, int encoders,
                                        int decoders) {
    return namespaces.onDeviceSide([&] {
        bed::ip("route add local 10.77.64.0/18 dev lo");
        return std::make_unique<bed::Daemon>(
            program(AVOIPSIM_PATH,
                    {"--encoders", std::to_string(encoders), "--decoders", std::to_string(decoders),
                     "--interface", "dev0", "--first-address", "10.77.64.1"}));
    });
}

std::unique_ptr<bed::Daemon> startDaemon() {
    bed::DaemonOptions options;
    options.program = bench::daemonPath();
    return std::make_unique<bed::Daemon>(options);
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

/// What the gateway says there, as soon as it says `part` so many times.
std::string awaitParts(const std::string& path, const std::string& part, std::size_t times) {
    std::string body;
    bed::awaitCondition(
        path + " has " + part + " often enough",
        [&] {
            body = bed::ask(kGatewayPort, "GET", path).body;
            return countOf(body, part) == times;
        },
        std::chrono::minutes(2));
    return body;
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

/// How much of the time somebody holds the turn, by the system's list of locks: to try for the turn
/// would take it from others.
double turnShare(const std::string& lockFile) {
    struct stat file {};
    if (::stat(lockFile.c_str(), &file) != 0) {
        bed::throwSystemError(lockFile);
    }
    const std::string inode = ":" + std::to_string(file.st_ino) + " ";
    double looks = 0;
    double held = 0;
    const auto end = std::chrono::steady_clock::now() + kTurnWatched;
    while (std::chrono::steady_clock::now() < end) {
        std::ifstream list("/proc/locks");
        const std::string locks(std::istreambuf_iterator<char>(list), {});
        held += locks.find(inode) == std::string::npos ? 0 : 1;
        ++looks;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return held / looks;
}

void tellTurn(const std::string& folder) {
    const double percent = 100 * turnShare(folder + "/lock");
    bench::printRow("the turn, taken by polls of 1,024 devices", bench::number(percent, 1) + " %",
                    "", "", bench::atMost(20, percent, " %"));
}

/// From before `ask` until the request that it causes is on the wire, in milliseconds.
template <class Ask>
double routeDelay_ms(const bench::Wire& wire, Ask ask) {
    const double before = bench::wallClock_us();
    ask();
    return (wire.awaitArrival_us("\"matrix set\"") - before) / 1000;
}

std::string decoderOf(int number) {
    const std::string digits = std::to_string(1 + number % kRoutedDecoders);
    return "RX-" + std::string(4 - digits.size(), '0') + digits;
}

std::vector<double> routeByLibrary(const bed::Namespaces& namespaces) {
    const bench::Wire wire(namespaces);
    const std::unique_ptr<avoip_frontend, decltype(&avoip_frontend_close)> frontend(
        avoip_frontend_open("127.0.0.1", AVOIP_CONSOLE_PORT), avoip_frontend_close);
    std::vector<double> delays_ms;
    for (int each = 0; each < kRoutes; ++each) {
        const std::string line = "matrix set TX-0001 " + decoderOf(each) + "!";
        delays_ms.push_back(routeDelay_ms(wire, [&] {
            char* answer = nullptr;
            if (avoip_frontend_ask(frontend.get(), line.c_str(), 5000, &answer) != AVOIP_OK) {
                throw bed::Error(avoip_frontend_error(frontend.get()));
            }
            ::free(answer);
        }));
    }
    return delays_ms;
}

std::vector<double> routeByGateway(const bed::Namespaces& namespaces) {
    const bench::Wire wire(namespaces);
    bed::Http http(kGatewayPort);
    std::vector<double> delays_ms;
    for (int each = 0; each < kRoutes; ++each) {
        delays_ms.push_back(routeDelay_ms(wire, [&] {
            const std::string answer = http.ask("PUT", "/api/v1/routes/video/" + decoderOf(each),
                                                R"({"encoder":"TX-0002"})")
                                           .body;
            if (answer.find("\"confirmed\":true") == std::string::npos) {
                throw bed::Error("a route was not confirmed: " + answer);
            }
        }));
    }
    return delays_ms;
}

void tellRoute(const std::string& share, double most_ms, double ours_ms, double theirs_ms) {
    const double more_ms = ours_ms - theirs_ms;
    bench::printRow(
        "a route by HTTP to its datagram, 256 decoders polled; floor: the library, none polled: " +
            share,
        bench::number(ours_ms, 2) + " ms", bench::number(theirs_ms, 2) + " ms",
        bench::number(more_ms, 2) + " ms more", bench::atMost(most_ms, more_ms, " ms more"));
}

void compareRoutes(const std::string& folder) {
    const bed::Namespaces namespaces;
    const auto daemon = startDaemon();
    const auto fleet = startFleet(namespaces, 8, kRoutedDecoders);
    const std::vector<double> theirs = routeByLibrary(namespaces);
    const auto gateway = startGateway(folder);
    awaitParts("/api/v1/routes", "\"encoder\":", std::size_t{3} * kRoutedDecoders);
    const std::vector<double> ours = routeByGateway(namespaces);
    tellRoute("p50", 3, bench::median(ours), bench::median(theirs));
    tellRoute("p99", 20, bench::percentile(ours, 0.99), bench::percentile(theirs, 0.99));
}

void measureFleet(const std::string& folder) {
    const bed::Namespaces namespaces;
    const auto daemon = startDaemon();
    const auto fleet = startFleet(namespaces, 512, 512);
    const auto gateway = startGateway(folder);
    compareLists(folder, awaitParts("/api/v1/devices", "\"online\":true", 1024));
    tellTurn(folder);
    tellEvents(*gateway);
}

void work() {
    const std::string folder = makeFolder();
    ::setenv("AVOIP_LOCK_FILE", (folder + "/lock").c_str(), 1);
    compareRoutes(folder);
    std::filesystem::remove_all(folder + "/data");
    measureFleet(folder);
    std::filesystem::remove_all(folder);
}

}  // namespace

int main() {
    return bench::run("gateway", work);
}
