// Answers as people read them: tables of what was read, one word for what was sent.
#pragma once

#include <string>

#include "avoipctl/columns.hpp"
#include "avoipctl/screen.hpp"
#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"

namespace avoip::ctl {

/// The text for a success answer to `command`: a table for a list of devices, one line per value
/// for a device's parameters, facts and bytes of an EDID, and "Sent." or "Done." where nothing is
/// read back. Of a list these columns, all where none are given.
std::string Render_answer(const Command& command, const Answer& answer, const Screen& screen = {},
                          const Columns& columns = {});

}  // namespace avoip::ctl
