// What the daemon holds of the machine's memory: at idle, for each connection that is open or has
// been, and after a hundred thousand commands; and how large the program is on the disk. The floor
// at idle is an empty program with the same libraries, that of a connection the bare server.
#include <sys/stat.h>

#include <string>
#include <vector>

#include "bed/namespaces.hpp"
#include "bed/wait.hpp"
#include "bench/devices.hpp"
#include "bench/measure.hpp"
#include "bench/server.hpp"

namespace {

constexpr std::size_t kConnections = 200;
constexpr std::size_t kCommands = 100'000;

std::string kib(double value) {
    return bench::number(value, value < 100 ? 1 : 0) + " KiB";
}

double resident_kib(const bench::Server& server) {
    return static_cast<double>(server.resident_kib());
}

/// A row without a ratio where the floor is nothing.
void printRow(const char* what, double daemon_kib, double floor_kib, const std::string& goal = "") {
    const std::string ratio = floor_kib > 0 ? bench::number(daemon_kib / floor_kib, 2) : "";
    bench::printRow(what, kib(daemon_kib), kib(floor_kib), ratio, goal);
}

void idle() {
    bed::DaemonOptions options;
    options.program = EMPTY_PATH;
    options.arguments = {"wait"};
    const bed::Daemon empty(options);
    const bench::Server daemon;
    // The empty program has loaded by the time that the daemon serves.
    const double daemon_kib = resident_kib(daemon);
    printRow("Resident at idle", daemon_kib, static_cast<double>(empty.resident_kib()),
             bench::atMost(5 * 1024, daemon_kib, " KiB"));
}

void use(const bench::Server& server, bed::Console& console) {
    for (int i = 0; i < 5; ++i) {
        server.ask_us(console, bench::kOneWayLine);
    }
}

struct PerConnection {
    double open_kib;
    double closed_kib;
};

PerConnection connections(const bench::Server& server) {
    bed::Console first = server.connect();
    use(server, first);
    const double before = resident_kib(server);
    std::vector<bed::Console> consoles;
    for (std::size_t i = 0; i < kConnections; ++i) {
        consoles.push_back(server.connect());
        use(server, consoles.back());
    }
    const double open = resident_kib(server);
    for (bed::Console& console : consoles) {
        console.send("exit!");
        console.awaitClosed();
    }
    // The last thread is gone a moment after its connection.
    use(server, first);
    const double closed = resident_kib(server);
    return {(open - before) / kConnections, (closed - before) / kConnections};
}

void commands(const bench::Server& daemon, const bench::Server& floor) {
    const auto grown_kib = [](const bench::Server& server) {
        bed::Console console = server.connect();
        use(server, console);
        const double before = resident_kib(server);
        for (std::size_t i = 0; i < kCommands; ++i) {
            server.ask_us(console, bench::kOneWayLine);
        }
        return resident_kib(server) - before;
    };
    printRow("Resident more after 100,000 commands", grown_kib(daemon), grown_kib(floor));
}

void programSize() {
    struct stat status {};
    if (::stat(STRIPPED_PATH, &status) != 0) {
        bed::throwSystemError(std::string("no stripped program at ") + STRIPPED_PATH);
    }
    const double size_kib = static_cast<double>(status.st_size) / 1024;
    bench::printRow("Size of the stripped program", kib(size_kib), "", "",
                    bench::atMost(400, size_kib, " KiB"));
}

void measure() {
    const bed::Namespaces namespaces;
    idle();
    {
        const bench::Server daemon;
        const bench::Server floor(bench::oneWayWork());
        const PerConnection ours = connections(daemon);
        const PerConnection bare = connections(floor);
        printRow("Resident per open connection", ours.open_kib, bare.open_kib,
                 bench::atMost(64, ours.open_kib, " KiB"));
        printRow("Resident per connection that has closed", ours.closed_kib, bare.closed_kib);
        commands(daemon, floor);
    }
    programSize();
}

}  // namespace

int main() {
    return bench::run("memory", measure);
}
