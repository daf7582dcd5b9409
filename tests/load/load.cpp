// Measures one load figure and prints its row of the table; "scripts/measure load" builds and runs
// this.
//
//   load FIGURE[=COUNT]     a count in place of the figure's own, for a quick look
//   load                    lists the figures
//
// Exit status: 0 when nothing was lost that the daemon promises, 1 with a loss or without a
// measurement, 2 for wrong usage.
#include "load/load.hpp"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "load/bed.hpp"

namespace {

struct Figure {
    std::string_view name;
    load::Finding (*measure)(std::size_t count);
    std::size_t count;
    std::size_t countMost;
};

constexpr Figure kFigures[] = {
    {"one-connection", load::oneConnection, 1'000'000, load::kCommandsMax},
    {"fifty-connections", load::fiftyConnections, 10'000, load::kCommandsMax / 50},
    {"connections", load::connections, 20'000, load::kCommandsMax},
    {"connections-until-refused", load::connectionsUntilRefused, 100'000, load::kCommandsMax},
    {"guarded-connections", load::guardedConnections, 1'000'000, load::kCommandsMax},
    {"guarded-three-restarts", load::guardedThreeRestarts, 100'000, load::kCommandsMax},
    {"guarded-little-space", load::guardedLittleSpace, 5'000, load::kCommandsMax},
    {"burst", load::burst, 100, load::kCommandsMax},
    {"burst-unprivileged", load::burstUnprivileged, 100, load::kCommandsMax},
};

/// The lock file by which front ends take turns, for as long as the program runs.
class LockFile {
  public:
    LockFile()
        : path_(std::filesystem::temp_directory_path() /
                ("avoip-load-" + std::to_string(::getpid()) + ".lock")) {
        ::setenv("AVOIP_LOCK_FILE", path_.c_str(), 1);
    }
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;
    ~LockFile() {
        std::error_code none;
        std::filesystem::remove(path_, none);
    }

  private:
    std::filesystem::path path_;
};

std::string oneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

void printRow(std::string_view name, const load::Finding& finding) {
    const std::string lost = finding.lost.empty() ? "nothing" : finding.lost;
    std::printf(
        "| %.*s | %s | %s | %.1f s | %s KiB → %s KiB | %zu → %zu "
        "| `scripts/measure load %.*s` |\n",
        static_cast<int>(name.size()), name.data(), oneLine(finding.done).c_str(),
        oneLine(lost).c_str(), finding.seconds, load::grouped(finding.before.resident_kib).c_str(),
        load::grouped(finding.after.resident_kib).c_str(), finding.before.descriptors,
        finding.after.descriptors, static_cast<int>(name.size()), name.data());
}

/// The count behind the "=", or the figure's own where there is none; 0 for one that cannot be.
std::size_t countIn(std::string_view argument, const Figure& figure) {
    if (argument.size() == figure.name.size()) {
        return figure.count;
    }
    argument.remove_prefix(figure.name.size() + 1);
    std::size_t count = 0;
    const auto [end, error] =
        std::from_chars(argument.data(), argument.data() + argument.size(), count);
    const bool whole = error == std::errc() && end == argument.data() + argument.size();
    return whole && count <= figure.countMost ? count : 0;
}

int run(std::string_view argument) {
    const std::string_view name = argument.substr(0, argument.find('='));
    const auto* const figure = std::ranges::find(kFigures, name, &Figure::name);
    const std::size_t count = figure == std::end(kFigures) ? 0 : countIn(argument, *figure);
    if (count == 0) {
        std::fprintf(stderr,
                     "load: \"%.*s\" is no figure with a count that it can have; `load` alone "
                     "lists the figures\n",
                     static_cast<int>(argument.size()), argument.data());
        return 2;
    }
    const LockFile lockFile;
    const load::Finding finding = figure->measure(count);
    printRow(name, finding);
    return finding.lost.empty() || !finding.isPromised ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    if (argc < 2) {
        for (const Figure& figure : kFigures) {
            std::printf("%s\n", figure.name.data());
        }
        return 0;
    }
    try {
        return run(argv[1]);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "load: %s: %s\n", argv[1], problem.what());
        return 1;
    }
}
