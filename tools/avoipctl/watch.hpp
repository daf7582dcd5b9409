// "--watch": the same look again and again, on a terminal each in place of the one before.
#pragma once

#include <functional>

#include "avoipctl/session.hpp"

namespace avoip::ctl {

/// Does one look: prints to the session that it is handed.
using Look = std::function<Status(Session&)>;

/// With --watch looks again and again, until Ctrl-C, or until nothing can be written any more;
/// without it once. A look that fails is shown and does not end it.
Status Watch_run(Session& session, const Look& look);

}  // namespace avoip::ctl
