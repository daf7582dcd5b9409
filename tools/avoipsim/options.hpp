// The command line of avoipsim.
#pragma once

#include <optional>
#include <string>

#include "avoipsim/fleet.hpp"
#include "avoipsim/make_image.hpp"
#include "avoipsim/upload_server.hpp"

namespace avoip::sim {

struct Options {
    FleetOptions fleet;
    UploadOptions upload;
    ImageOptions image;
    std::string interface = "dev0";
    std::string stateFile;      ///< Empty: first values.
    std::string saveStateFile;  ///< Empty: not saved.
    std::string logFile;        ///< Empty: no log; "-": standard output.
};

inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

/// Reads the command line. Nothing when the program is to end at once, with `exitStatus`: after
/// --help (0) or after a wrong option (kExitUsage), which has been explained on standard error.
std::optional<Options> Options_parse(int argc, char** argv, int& exitStatus);

}  // namespace avoip::sim
