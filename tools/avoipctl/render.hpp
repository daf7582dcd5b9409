// Answers as people read them: tables of what was read, one word for what was sent.
#pragma once

#include <string>

#include "lib/catalogue/catalogue.hpp"
#include "lib/client/answer.hpp"

namespace avoip::ctl {

/// The text for a success answer to `command`: a table for a list of devices, one line per value
/// for a device's parameters, facts and bytes of an EDID, and "Sent." or "Done." where nothing is
/// read back.
std::string Render_answer(const Command& command, const Answer& answer);

}  // namespace avoip::ctl
