// Asking changes back, many at once: every device until it has said it twice in succession, in
// batches that closed well on their own. A device that says otherwise is asked again for two
// seconds, between others; one that is silent is not, and what the last listing has not heard is
// asked last.
//
// One look is one batch, so that others have their turn between. Pure, as its session is.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "gateway/asking/session.hpp"
#include "lib/client/confirm.hpp"

namespace avoip::gw {

struct ChangeWatch {
    Request change;
    int agreed = 0;  ///< batches in succession in which the device said it
    std::optional<Verdict> verdict = {};
};

/// The changes that one device is asked for with the same sort of question.
struct DeviceWatch {
    std::string device = {};
    bool listed = false;  ///< it is looked up in a listing, and not read
    std::vector<std::size_t> changes = {};
    std::optional<Moment> firstLook = {};
    Moment nextLook = {};
};

struct Confirming {
    std::vector<ChangeWatch> changes = {};
    std::vector<DeviceWatch> devices = {};
};

/// For changes of one device each.
Confirming Confirming_begin(std::span<const Request> changes);

/// When to look next; nothing when all is decided.
std::optional<Moment> Confirming_next(const Confirming& confirming);

/// Looks at a device whose look is due, or else at the one whose look is due first.
void Confirming_look(Confirming& confirming, Session& session, SharedState& state,
                     const Clocks& clocks);

/// The verdicts, as far as they go: what is not decided is not confirmed.
std::vector<Verdict> Confirming_verdicts(const Confirming& confirming);

}  // namespace avoip::gw
