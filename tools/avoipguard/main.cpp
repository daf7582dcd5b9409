// avoipguard: runs avoipd as its child and keeps it working.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "avoipguard/does/guard.hpp"
#include "avoipguard/options.hpp"

int main(int argc, char** argv) {
    // What is printed must not go into a socket that has the number of a closed output.
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) {
        opened = ::open("/dev/null", O_RDWR);
    }
    ::close(opened);
    try {
        int exitStatus = 0;
        const auto options = avoip::guard::Options_parse(argc, argv, exitStatus);
        if (!options) {
            return exitStatus;
        }
        return options->onlyMakesSegment ? avoip::guard::Guard_makeSegment()
                                         : avoip::guard::Guard_run(*options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "avoipguard: %s\n", error.what());
        return avoip::guard::kExitFailure;
    }
}
