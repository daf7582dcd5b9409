// The assertion by which a base64 text of a wrong length ends the daemon, on purpose
// ("base64-assertion" in docs/kept-behaviours.md), is no finding: kept_assertion.cpp stands in for
// the decoder and throws this instead.
#pragma once

namespace fuzz {

struct DaemonEnds {};

}  // namespace fuzz
