#include "avoipguard/options.hpp"

#include <getopt.h>

#include <array>
#include <cstdio>

namespace avoip::guard {

namespace {

void printHelp() {
    std::printf(
        "Usage: avoipguard [--daemon PATH] [--state-folder DIR]\n"
        "\n"
        "Runs avoipd and keeps it working: starts it when its control interface eth0.2 is ready, "
        "sees\n"
        "when it is of no use any more, and starts it anew.\n"
        "\n"
        "  --daemon PATH        the daemon, instead of %s\n"
        "  --state-folder DIR   where state.json is kept, instead of %s;\n"
        "                       'avoipctl health' shows it\n"
        "  --make-segment       only make the answer segment, before anybody else can, and end\n"
        "  --help               this text\n"
        "  --version            the version\n"
        "\n"
        "It prints what avoipd prints, and lines of its own that begin with \"avoipguard: \". "
        "SIGTERM\n"
        "ends both. Exit status: 0 ended by a signal, 1 it could not begin, 2 wrong usage.\n",
        AVOIPD_INSTALLED, kStateFolder);
}

constexpr std::array<option, 6> kOptions{{
    {"daemon", required_argument, nullptr, 'd'},
    {"state-folder", required_argument, nullptr, 's'},
    {"make-segment", no_argument, nullptr, 'm'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},
    {nullptr, 0, nullptr, 0},
}};

}  // namespace

std::optional<Options> Options_parse(int argc, char** argv, int& exitStatus) {
    Options options;
    options.daemon = AVOIPD_INSTALLED;
    exitStatus = 0;
    ::optind = 1;
    int found = 0;
    while ((found = ::getopt_long(argc, argv, "", kOptions.data(), nullptr)) != -1) {
        switch (found) {
            case 'd':
                options.daemon = ::optarg;
                break;
            case 's':
                options.stateFolder = ::optarg;
                break;
            case 'm':
                options.onlyMakesSegment = true;
                break;
            case 'h':
                printHelp();
                return std::nullopt;
            case 'v':
                std::printf("avoipguard %s\n", AVOIP_VERSION);
                return std::nullopt;
            default:
                // getopt_long has printed what is wrong.
                std::fputs("Run avoipguard --help for help.\n", stderr);
                exitStatus = kExitUsage;
                return std::nullopt;
        }
    }
    if (::optind < argc) {
        std::fprintf(stderr, "avoipguard: it takes no argument \"%s\".\n", argv[::optind]);
        std::fputs("Run avoipguard --help for help.\n", stderr);
        exitStatus = kExitUsage;
        return std::nullopt;
    }
    return options;
}

}  // namespace avoip::guard
