// What the calls of the API work with.
#pragma once

#include <mutex>
#include <string>

#include "gateway/api/sessions.hpp"
#include "gateway/config/config.hpp"
#include "gateway/events/feed.hpp"
#include "gateway/metrics/metrics.hpp"
#include "gateway/operations/installations.hpp"
#include "gateway/operations/operations.hpp"
#include "gateway/state/share.hpp"
#include "gateway/store/store.hpp"

namespace avoip::gw {

struct Gateway {
    const Config& config;
    /// The data folder, from the root on.
    std::string data;
    std::string version;
    SharedState& state;
    Store& store;
    Feed& feed;
    Metrics& metrics;
    Operations& operations;
    Installations& installations;
    Clock clock;
    Sessions sessions = {};
    Attempts attempts = {};
    /// Held while something that people keep is looked at, stored and taken into the state, so that
    /// two of them at once do not both find it free.
    std::mutex keeping = {};
};

}  // namespace avoip::gw
