// Routes: setting one, many or all, seeing them confirmed, and reading them for presets.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "gateway/operations/operations.hpp"

struct cJSON;

namespace avoip::gw {

struct RouteWish {
    RouteKind kind = RouteKind::kVideo;
    std::string decoder = {};
    std::string encoder = {};  ///< empty: none
};

struct RouteResult {
    RouteWish wish = {};
    bool ok = false;           ///< the daemon has sent it
    bool confirmed = false;    ///< the device says so, twice
    std::string problem = {};  ///< why it is not ok; empty when it is
};

/// Many routes in one go. `all` routes one encoder to all decoders of a kind, or clears them with
/// an empty text; nothing is wanted for that kind in the table then.
struct RouteOrder {
    RouteTable routes = {};
    std::array<std::optional<std::string>, kRouteKinds> all = {};
};

/// Reads {"video":{DECODER:ID|null,...}|{"all":ID|null},"serial":{...},"ir":{...}}.
Outcome<RouteOrder> RouteOrder_read(const cJSON* body);

/// Reads {"encoder":ID}.
Outcome<std::string> RouteWish_readEncoder(const cJSON* body);

/// What the console could not carry of routes that are kept for later; whether the devices are
/// known does not matter. Fields begin with `path`.
std::optional<Problem> Routes_problemOfIds(const RouteTable& routes, const std::string& path);

/// Sets or clears one route, within six seconds.
Outcome<RouteResult> Routes_set(Operations& operations, const Actor& actor, const RouteWish& wish);

/// Sets many routes, within six seconds and 50 ms for each. Nothing is sent when an id is unknown
/// or a lock stands in the way.
Outcome<std::vector<RouteResult>> Routes_setMany(Operations& operations, const Actor& actor,
                                                 const RouteOrder& order);

/// The same for a preset: a device that is known no more is a result that is not ok.
Outcome<std::vector<RouteResult>> Routes_recall(Operations& operations, const Actor& actor,
                                                const RouteTable& routes);

/// Which routes these decoders have; what was never heard is asked.
Outcome<RouteTable> Routes_capture(Operations& operations, const std::vector<std::string>& decoders,
                                   const std::vector<RouteKind>& kinds);

/// {"decoder","encoder","confirmed"}
std::string RouteResult_json(const RouteResult& result);
/// {"results":[{"kind","decoder","encoder","ok","confirmed","problem"}]}
std::string RouteResults_json(const std::vector<RouteResult>& results);

}  // namespace avoip::gw
