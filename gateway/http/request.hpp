// One HTTP request: what it is, whether it may go on, and its body as it comes in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/api/access.hpp"
#include "gateway/api/endpoint.hpp"
#include "gateway/panel/panel.hpp"

struct MHD_Connection;

namespace avoip::gw {

inline constexpr std::size_t kHeadersMax = std::size_t{16} * 1024;
inline constexpr std::uint64_t kBodyMax = std::size_t{1024} * 1024;
inline constexpr std::uint64_t kImageBodyMax = std::size_t{64} * 1024 * 1024;

/// What is known of a connection's two ends.
struct Ends {
    bool listenerIsLoopback = false;
    /// A socket of a path: no browser can be led to it by a name.
    bool isLocalSocket = false;
    bool secure = false;
};

/// What came of a part of the body.
enum class Fed { kMore, kEnough };

struct Request {
    std::string target;  ///< the path and the parameters, as they came
    bool begun = false;
    Match match = {};
    Call call = {};
    Credentials credentials = {};
    /// The panel's file that it is for, in place of a call.
    const PanelFile* file = nullptr;
    /// Why it is refused; what is left of its body is passed over.
    std::optional<Problem> refusal = {};
    std::uint64_t received = 0;
    std::uint64_t limit = kBodyMax;
    bool hasBody = false;
};

/// Looks at everything that stands before the body.
void Request_begin(Request& request, Gateway& gateway, const Ends& ends, MHD_Connection* connection,
                   std::string_view method);

/// Whether the request is refused and its answer must not wait for the body, which whoever sends it
/// holds back.
bool Request_isHeldBack(const Request& request, MHD_Connection* connection);

/// Takes a part of the body. kEnough: it is so much too much that the connection has to end.
Fed Request_feed(Request& request, std::string_view part);

}  // namespace avoip::gw
