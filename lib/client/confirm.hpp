// What became of a change. That the daemon answers success says that a request left the machine,
// not that a device obeyed; so the device is asked back where the protocol can ask it.
//
// What is confirmed was read twice in succession, in two batches that closed well on their own:
// what one batch cannot see (reading.hpp) would have to happen twice in a row, to the same effect.
//
// Pure, like reading.hpp; time is behind `again`.
#pragma once

#include <functional>
#include <string>

#include "lib/client/reading.hpp"

namespace avoip {

enum class Verdict {
    kConfirmed,     ///< every device that the change is for says so, twice
    kNotConfirmed,  ///< one says otherwise, or does not say it
    kCannotBeAsked  ///< the protocol has no question for it
};

struct Confirmation {
    Verdict verdict = Verdict::kCannotBeAsked;
    /// With kNotConfirmed: which device, and what it says or why it says nothing, as a sentence.
    std::string problem = {};
};

/// Asks back a change that the daemon has answered with success. A device that says otherwise is
/// asked again as long as `again` gives true; it is called before each further question and may
/// wait.
Confirmation Reader_confirm(Reader& reader, const Request& change,
                            const std::function<bool()>& again);

/// What differs in a row that a device was asked for, by the command that asks the change back,
/// from what the change should have made of it; empty when nothing does.
std::string Confirm_difference(const Row& row, const Request& change);

}  // namespace avoip
