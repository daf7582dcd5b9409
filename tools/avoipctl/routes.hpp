// The routes of the whole system: as one matrix, decoders down and encoders across, as a list where
// that is too wide, and as a preset: a file that is saved and loaded.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "avoipctl/screen.hpp"
#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Where one decoder gets its signal from.
struct Route {
    std::string decoder;
    std::string encoder;  ///< empty: from nowhere
    bool answered = true;
};

/// The routes of one kind, and the devices that are listed, in the order in which they are.
struct RouteTable {
    std::vector<std::string> encoders = {};
    std::vector<Route> routes = {};
    bool complete = true;  ///< whether every decoder has answered
};

/// The command that asks a decoder for its route of this kind: "video", "serial" or "ir".
const Command& Routes_asking(std::string_view kind);

/// Asks for the encoders and the decoders, then each decoder for its route of this kind.
Status Routes_ask(Session& session, std::string_view kind, RouteTable& table);

/// The matrix as a table: an "x" where a decoder shows an encoder. A source that is not among the
/// encoders, and a decoder that did not answer, are told in a last column.
std::string Routes_print(std::span<const std::string> encoders, std::span<const Route> routes,
                         const Screen& screen = {});

/// Asks, and prints the matrix, or a list where the matrix is wider than the terminal or --columns
/// is given; with --json an object that holds them as "routes". kFailure when a decoder did not
/// answer.
Status Routes_run(Session& session, std::string_view kind);

}  // namespace avoip::ctl
