// The calls that there are, as data: one row for each method of each path. Routing, roles, bodies,
// the log, the metrics and the description of the API all come from these rows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/api/call.hpp"
#include "gateway/api/gateway.hpp"

namespace avoip::gw {

/// Who may make a call.
enum class Access {
    kAnybody,           ///< without a log-in too; the handler looks at the caller itself
    kViewerOrLoopback,  ///< a viewer, or anybody on loopback
    kViewer,
    kOperator,
    kAdmin
};

/// What the body of a call is.
enum class BodyKind {
    kNone,      ///< nothing; an empty JSON object is taken for that
    kOptional,  ///< a JSON object, or nothing
    kJson,      ///< a JSON object
    kEdid,      ///< a JSON object, or bytes
    kImage      ///< bytes, many: they become a file as they come in
};

/// What the stream of events is.
inline constexpr std::string_view kEventStream = "text/event-stream";

struct Endpoint {
    std::string_view method;
    /// The path, with the open parts in braces: "/api/v1/devices/{id}".
    std::string_view path;
    /// The name of the call in the description of the API.
    std::string_view name;
    std::string_view summary;
    Access access;
    BodyKind body;
    Response (*handle)(Gateway& gateway, Call& call);
    /// How the log calls it; empty for what is not logged.
    std::string_view action = {};
    /// The parameters behind "?", a blank between two.
    std::string_view query = {};
    /// The schemas of the body and of the usual response, and its status; empty for none. A
    /// response that is no JSON has its media types in place of a schema, a blank between two.
    std::string_view request = {};
    std::string_view response = {};
    int status = 200;
    /// The status when what is put was not there, or what is added was there; 0: there is one only.
    int otherStatus = 0;
};

/// All calls, in the order of the documentation.
std::span<const Endpoint> Endpoint_all();

/// The row that a request is for.
struct Match {
    const Endpoint* endpoint = nullptr;
    /// The open parts of the path, decoded.
    std::vector<std::string> parts = {};
    /// The path, as it is described; empty when there is none.
    std::string_view path = {};
    /// The methods that the path has, as the header "Allow" lists them; empty when there is no such
    /// path.
    std::string allow = {};
};

/// Finds the row for a method and a path as it came, percent-encoded. HEAD is taken for GET. Throws
/// the Problem 400 when the path is wrongly encoded.
Match Endpoint_match(std::string_view method, std::string_view path);

/// Decodes "%XX", and "+" as a blank in a query. Nothing when a "%" has no two digits behind it.
std::optional<std::string> Url_decode(std::string_view text, bool isQuery);

/// Reads the parameters behind the "?" of a path, which may be none. Throws the Problem 400 when
/// they are wrongly encoded, and 422 for one that the row does not have or that stands twice.
Query Endpoint_readQuery(const Endpoint& endpoint, std::string_view text);

/// Makes the call, which the caller may make, and gives its response, whatever happens. What
/// changes something is logged.
Response Endpoint_call(Gateway& gateway, Call& call);

}  // namespace avoip::gw
