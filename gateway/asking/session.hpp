// A reader of devices, as polling and operations use it: what lib/client verifies, with what its
// batches do not say - which question it was that failed, and whether the device was silent or said
// something else.
//
// Pure, like the reader: everything outside is behind its Ask, whose maker keeps `last` and
// `silent`.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "gateway/state/share.hpp"
#include "gateway/state/time.hpp"
#include "lib/client/reading.hpp"

namespace avoip::gw {

struct Session {
    Reader reader = {};
    const Command* last = nullptr;  ///< the question that was asked last
    bool silent = false;            ///< nothing came from its device within the daemon's time
    /// What has come since somebody last looked: the decoders of the last listing, and routes.
    std::optional<std::vector<std::string>> heard = {};
    std::vector<std::pair<std::string, RouteKind>> learned = {};
};

/// The time that a session goes by.
struct Clocks {
    std::function<Moment()> now;
    Clock time;
};

/// The console command that reads this kind of route from a decoder.
const Command& RouteKind_read(RouteKind kind);
/// The kind of route that the command reads; nothing when it reads another thing.
std::optional<RouteKind> RouteKind_of(const Command& command);

/// The lines of a listing's answer.
std::vector<DeviceReport> DeviceReports_of(const Answer& answer);

/// Takes what verified replies say about routes into the state; the device was heard in any case.
void Session_learn(Session& session, SharedState& state, std::span<const Request> reads,
                   const Batch& batch, Time now);

}  // namespace avoip::gw
