// The file that front ends lock and leave their notes in: where it is, and what it must be to be
// trusted. avoip_frontend.h says so for everybody.
#pragma once

#include "lib/frontend/avoip_frontend.h"
#include "lib/frontend/reason.hpp"

namespace avoip {

/// Opens the lock file for reading and writing, never waiting and never through a link, and makes
/// it where there is none. It then is 0660 and of the answer segment's group, so that whoever may
/// read answers may take turns, and nobody else. Gives AVOIP_OK with the descriptor, which is the
/// caller's; else, with a reason, AVOIP_NO_LOCK, or AVOIP_NO_SEGMENT when the file would have to be
/// made and there is no segment yet whose group it could have.
avoip_result LockFile_open(int& descriptor, Reason& reason);

}  // namespace avoip
