// A call of the API and its response, whatever carries them: HTTP now, messages of a broker too.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/base/role.hpp"
#include "gateway/operations/outcome.hpp"
#include "gateway/store/images.hpp"

namespace avoip::gw {

/// Who calls.
struct Caller {
    /// The user's or token's name; "local" on loopback without any user; nothing where reading
    /// needs no log-in.
    std::optional<std::string> name = {};
    Role role = Role::kViewer;
    std::string address = {};
    /// The cookie of the session that the call came with; empty for none.
    std::string session = {};
    /// Whether it is a token that calls.
    bool token = false;
    /// The rooms that a token is limited to; nothing: no limit.
    std::optional<std::vector<std::string>> rooms = {};
    /// Whether the call came over loopback, both ends.
    bool loopback = false;
};

/// The parameters behind the "?", decoded; a flag without "=" has no text.
using Query = std::map<std::string, std::string, std::less<>>;

struct Endpoint;

struct Call {
    const Endpoint* endpoint = nullptr;
    std::string method = {};
    /// What stands in the places of the path that the endpoint leaves open, decoded.
    std::vector<std::string> parts = {};
    Query query = {};
    std::string body = {};
    /// Whether the body is bytes (application/octet-stream), not JSON.
    bool binaryBody = false;
    /// What the response may be, as the caller says it.
    std::string accept = {};
    Caller caller = {};
    bool secure = false;
    /// What the log says of it; the handler fills it in.
    std::string target = {};
    std::string detail = {};
    /// A firmware image that came as the body.
    std::unique_ptr<ImageUpload> upload = {};
};

struct Response {
    int status = 200;
    std::shared_ptr<const std::string> body = {};
    std::string type = "application/json";
    std::vector<std::pair<std::string, std::string>> headers = {};
};

/// 200 with a JSON text.
Response Response_json(std::string json, int status = 200);
/// 204.
Response Response_empty(int status = 204);
/// The problem as application/problem+json.
Response Response_problem(const Problem& problem);

/// The usual name of a status, such as "Not Found".
std::string_view Response_title(int status);

}  // namespace avoip::gw
