// What every fuzz target defines, and how it says that something is wrong.
//
// A target is one function that is called with many inputs, by libFuzzer (scripts/measure fuzz) or
// by replay.cpp (ctest). It keeps no state from one input to the next. Sanitizers watch it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" {

/// Runs one input. @return 0 always
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Runs once before the first input, where a target defines it. @return 0 always
int LLVMFuzzerInitialize(int* argc, char*** argv);
}

namespace fuzz {

/// Ends the process, which makes the input a finding, unless `holds`.
inline void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

}  // namespace fuzz
