#include "gateway/api/call.hpp"

#include <algorithm>
#include <array>

#include "gateway/base/text.hpp"
#include "lib/base/json.hpp"

namespace avoip::gw {
namespace {

struct Title {
    int status;
    std::string_view text;
};

constexpr std::array kTitles{
    Title{400, "Bad Request"},
    Title{401, "Unauthorized"},
    Title{403, "Forbidden"},
    Title{404, "Not Found"},
    Title{405, "Method Not Allowed"},
    Title{409, "Conflict"},
    Title{413, "Content Too Large"},
    Title{415, "Unsupported Media Type"},
    Title{422, "Unprocessable Content"},
    Title{429, "Too Many Requests"},
    Title{431, "Request Header Fields Too Large"},
    Title{500, "Internal Server Error"},
    Title{502, "Bad Gateway"},
    Title{503, "Service Unavailable"},
    Title{504, "Gateway Timeout"},
    Title{507, "Insufficient Storage"},
};

}  // namespace

std::string_view Response_title(int status) {
    const auto* const found =
        std::find_if(kTitles.begin(), kTitles.end(),
                     [status](const Title& title) { return title.status == status; });
    return found == kTitles.end() ? "" : found->text;
}

Response Response_json(std::string json, int status) {
    return {status, std::make_shared<const std::string>(std::move(json))};
}

Response Response_empty(int status) {
    return {status, nullptr, ""};
}

Response Response_problem(const Problem& problem) {
    const Json json = Json_newObject();
    Json_addText(json.get(), "type", "about:blank");
    Json_addText(json.get(), "title", Response_title(problem.status));
    Json_addWhole(json.get(), "status", problem.status);
    Json_addText(json.get(), "detail", Text_repaired(problem.detail));
    if (!problem.field.empty()) {
        Json_addText(json.get(), "field", Text_repaired(problem.field));
    }
    Response response = Response_json(Json_print(json.get()), problem.status);
    response.type = "application/problem+json";
    if (problem.retryAfter_s > 0) {
        response.headers.emplace_back("Retry-After", std::to_string(problem.retryAfter_s));
    }
    if (problem.status == 401) {
        response.headers.emplace_back("WWW-Authenticate", "Bearer");
    }
    return response;
}

}  // namespace avoip::gw
