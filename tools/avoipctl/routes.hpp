// The routes of the whole system as one matrix, decoders down, encoders across.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Where one decoder gets its signal from.
struct Route {
    std::string decoder;
    std::string encoder;  ///< empty: from nowhere
    bool answered = true;
};

/// The matrix as a table: an "x" where a decoder shows an encoder. A source that is not among the
/// encoders, and a decoder that did not answer, are told in a last column.
std::string Routes_print(std::span<const std::string> encoders, std::span<const Route> routes);

/// Asks for the encoders and the decoders, then each decoder for its route of this kind ("video",
/// "serial" or "ir"), and prints the matrix; with --json an object that holds them as "routes".
/// kFailure when a decoder did not answer.
Status Routes_run(Session& session, std::string_view kind);

}  // namespace avoip::ctl
