// The command line.
#pragma once

#include <optional>
#include <string>

#include "lib/health/state_folder.hpp"

namespace avoip::guard {

inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

struct Options {
    std::string daemon;
    std::string stateFolder = kStateFolder;
    bool onlyMakesSegment = false;
};

/// The options that the arguments say. Nothing when the program is to end with `exitStatus`,
/// having printed what was asked for, or what is wrong.
std::optional<Options> Options_parse(int argc, char** argv, int& exitStatus);

}  // namespace avoip::guard
