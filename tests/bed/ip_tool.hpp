// iproute2, run in the network namespace of the calling thread.
#pragma once

#include <string_view>

namespace bed {

/// Runs the lines, one after the other, each the arguments of one call of the `ip` tool, such as
/// "link set lo up". Throws with the tool's own words when one fails; those after it are not run.
void ip(std::string_view lines);

}  // namespace bed
