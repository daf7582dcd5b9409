#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "avoipsim/fleet.hpp"
#include "avoipsim/options.hpp"
#include "avoipsim/request_table.hpp"
#include "avoipsim/service.hpp"

using namespace avoip::sim;

namespace {

int fail(const std::string& problem) {
    std::fprintf(stderr, "avoipsim: %s\n", problem.c_str());
    return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    // For scripts/docs.
    if (argc == 2 && std::string_view(argv[1]) == "--print-request-table") {
        std::fputs(RequestTable_print().c_str(), stdout);
        return 0;
    }
    int exitStatus = 0;
    const auto options = Options_parse(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    std::string problem;
    if (!options->image.path.empty()) {
        return MakeImage_write(options->image, problem) ? 0 : fail(problem);
    }
    Fleet fleet;
    fleet.options = options->fleet;
    if (!Fleet_make(fleet, problem) ||
        (!options->stateFile.empty() && !Fleet_loadState(fleet, options->stateFile, problem))) {
        return fail(problem);
    }
    if (!options->logFile.empty() && !Log_open(fleet.log, options->logFile)) {
        return fail("log file " + options->logFile + " cannot be opened: " + std::strerror(errno));
    }
    return Service_run(fleet, *options);
}
