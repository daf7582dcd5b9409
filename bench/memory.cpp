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

double residentKiB(const bench::Server& server) {
    return static_cast<double>(server.residentKiB());
}

/// A row without a ratio where the floor is nothing.
void printRow(const char* what, double daemonKiB, double floorKiB, const std::string& goal = "") {
    const std::string ratio = floorKiB > 0 ? bench::number(daemonKiB / floorKiB, 2) : "";
    bench::printRow(what, kib(daemonKiB), kib(floorKiB), ratio, goal);
}

void idle() {
    bed::DaemonOptions options;
    options.program = EMPTY_PATH;
    options.arguments = {"wait"};
    const bed::Daemon empty(options);
    const bench::Server daemon;
    // The empty program has loaded by the time that the daemon serves.
    const double daemonKiB = residentKiB(daemon);
    printRow("Resident at idle", daemonKiB, static_cast<double>(empty.residentKiB()),
             bench::atMost(5 * 1024, daemonKiB, " KiB"));
}

void use(const bench::Server& server, bed::Console& console) {
    for (int i = 0; i < 5; ++i) {
        server.askUs(console, bench::kOneWayLine);
    }
}

struct PerConnection {
    double openKiB;
    double closedKiB;
};

PerConnection connections(const bench::Server& server) {
    bed::Console first = server.connect();
    use(server, first);
    const double before = residentKiB(server);
    std::vector<bed::Console> consoles;
    for (std::size_t i = 0; i < kConnections; ++i) {
        consoles.push_back(server.connect());
        use(server, consoles.back());
    }
    const double open = residentKiB(server);
    for (bed::Console& console : consoles) {
        console.send("exit!");
        console.awaitClosed();
    }
    // The last thread is gone a moment after its connection.
    use(server, first);
    const double closed = residentKiB(server);
    return {(open - before) / kConnections, (closed - before) / kConnections};
}

void commands(const bench::Server& daemon, const bench::Server& floor) {
    const auto grownKiB = [](const bench::Server& server) {
        bed::Console console = server.connect();
        use(server, console);
        const double before = residentKiB(server);
        for (std::size_t i = 0; i < kCommands; ++i) {
            server.askUs(console, bench::kOneWayLine);
        }
        return residentKiB(server) - before;
    };
    printRow("Resident more after 100,000 commands", grownKiB(daemon), grownKiB(floor));
}

void programSize() {
    struct stat status {};
    if (::stat(STRIPPED_PATH, &status) != 0) {
        bed::throwSystemError(std::string("no stripped program at ") + STRIPPED_PATH);
    }
    const double sizeKiB = static_cast<double>(status.st_size) / 1024;
    bench::printRow("Size of the stripped program", kib(sizeKiB), "", "",
                    bench::atMost(400, sizeKiB, " KiB"));
}

void measure() {
    const bed::Namespaces namespaces;
    idle();
    {
        const bench::Server daemon;
        const bench::Server floor(bench::oneWayWork());
        const PerConnection ours = connections(daemon);
        const PerConnection bare = connections(floor);
        printRow("Resident per open connection", ours.openKiB, bare.openKiB,
                 bench::atMost(64, ours.openKiB, " KiB"));
        printRow("Resident per connection that has closed", ours.closedKiB, bare.closedKiB);
        commands(daemon, floor);
    }
    programSize();
}

}  // namespace

int main() {
    return bench::run("memory", measure);
}
