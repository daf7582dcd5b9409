#include "gateway/api/endpoint.hpp"

#include <algorithm>
#include <exception>

#include "gateway/api/handlers.hpp"
#include "gateway/api/journal.hpp"
#include "gateway/api/json_body.hpp"
#include "gateway/base/text.hpp"

namespace avoip::gw {
namespace {

std::vector<std::string_view> segmentsOf(std::string_view path) {
    std::vector<std::string_view> segments;
    while (true) {
        const std::size_t slash = path.find('/');
        segments.push_back(path.substr(0, slash));
        if (slash == std::string_view::npos) {
            return segments;
        }
        path.remove_prefix(slash + 1);
    }
}

bool isOpen(std::string_view segment) {
    return segment.starts_with('{');
}

/// Whether the segments of a path, still encoded, are those of a row.
bool fits(const std::vector<std::string_view>& row, const std::vector<std::string_view>& path) {
    return std::equal(row.begin(), row.end(), path.begin(), path.end(),
                      [](std::string_view wanted, std::string_view segment) {
                          return isOpen(wanted) ? !segment.empty() : wanted == segment;
                      });
}

int digit(char letter) {
    if (letter >= '0' && letter <= '9') {
        return letter - '0';
    }
    const char lower = static_cast<char>(letter | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::vector<std::string> partsOf(const std::vector<std::string_view>& row,
                                 const std::vector<std::string_view>& path) {
    std::vector<std::string> parts;
    for (std::size_t at = 0; at < row.size(); ++at) {
        if (!isOpen(row[at])) {
            continue;
        }
        auto part = Url_decode(path[at], false);
        if (!part) {
            throw Problem{400, "The path is not percent-encoded as it should be."};
        }
        parts.push_back(*std::move(part));
    }
    return parts;
}

/// Whether the row takes a parameter of this name.
bool takes(const Endpoint& endpoint, const std::string& name) {
    return !name.empty() && name.find(' ') == std::string::npos &&
           std::string(" ").append(endpoint.query).append(" ").find(" " + name + " ") !=
               std::string::npos;
}

/// A call without a body takes an empty object for none.
void checkNoBody(const Call& call) {
    if (call.endpoint->body == BodyKind::kNone && !call.body.empty()) {
        const Json tree = Body_parse(call.body);
        Body body(tree.get());
        body.only({});
        handlers::check(body);
    }
}

/// Who did what, with which result; nothing when it changed nothing.
void writeLog(Gateway& gateway, const Call& call, const Response& response) {
    const bool sent = response.status == 502 || response.status == 504;
    const bool refusedLogIn =
        call.endpoint->name == "logIn" && (response.status == 401 || response.status == 429);
    if (call.endpoint->action.empty() || (response.status >= 300 && !sent && !refusedLogIn)) {
        return;
    }
    LogEntry entry;
    entry.time = gateway.clock();
    entry.user = call.caller.name;
    entry.address = call.caller.address;
    entry.action = call.endpoint->action;
    entry.target = !call.target.empty() ? call.target
                   : call.parts.empty() ? ""
                                        : call.parts.front();
    entry.detail = call.detail.substr(0, kLogDetailMax);
    entry.result = response.status < 300 ? "ok" : std::string(Response_title(response.status));
    Journal_write(gateway.store, gateway.state, {&entry, 1});
}

Response handled(Gateway& gateway, Call& call) {
    try {
        checkNoBody(call);
        return call.endpoint->handle(gateway, call);
    } catch (const Problem& problem) {
        return Response_problem(problem);
    }
}

}  // namespace

std::optional<std::string> Url_decode(std::string_view text, bool isQuery) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded.push_back(isQuery && text[at] == '+' ? ' ' : text[at]);
            continue;
        }
        const int high = at + 2 < text.size() ? digit(text[at + 1]) : -1;
        const int low = at + 2 < text.size() ? digit(text[at + 2]) : -1;
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        decoded.push_back(static_cast<char>(high * 16 + low));
        at += 2;
    }
    return decoded;
}

Query Endpoint_readQuery(const Endpoint& endpoint, std::string_view text) {
    Query query;
    while (!text.empty()) {
        const std::string_view pair = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(pair.size() + 1, text.size()));
        if (pair.empty()) {
            continue;
        }
        const std::size_t equals = pair.find('=');
        const auto name = Url_decode(pair.substr(0, equals), true);
        const auto value =
            Url_decode(equals == std::string_view::npos ? "" : pair.substr(equals + 1), true);
        if (!name || !value) {
            throw Problem{400, "The parameters are not percent-encoded as they should be."};
        }
        if (!takes(endpoint, *name)) {
            throw Problem{422, "There is no parameter \"" + *name + "\" here.", *name};
        }
        if (!query.emplace(*name, *value).second) {
            throw Problem{422, "The parameter \"" + *name + "\" stands twice.", *name};
        }
    }
    return query;
}

Match Endpoint_match(std::string_view method, std::string_view path) {
    const std::string_view wanted = method == "HEAD" ? "GET" : method;
    const std::vector<std::string_view> segments = segmentsOf(path);
    Match match;
    for (const Endpoint& endpoint : Endpoint_all()) {
        const std::vector<std::string_view> row = segmentsOf(endpoint.path);
        if (!fits(row, segments)) {
            continue;
        }
        match.path = endpoint.path;
        match.allow.append(match.allow.empty() ? "" : ", ").append(endpoint.method);
        match.allow.append(endpoint.method == "GET" ? ", HEAD" : "");
        if (endpoint.method == wanted) {
            match.endpoint = &endpoint;
            match.parts = partsOf(row, segments);
        }
    }
    return match;
}

Response Endpoint_call(Gateway& gateway, Call& call) {
    try {
        Response response = handled(gateway, call);
        writeLog(gateway, call, response);
        return response;
    } catch (const StoreError& error) {
        return Response_problem(
            {error.full ? 507 : 500, "It could not be kept: " + error.text + "."});
    } catch (const std::exception& error) {
        return Response_problem({500, std::string("Something went wrong: ") + error.what() + "."});
    }
}

}  // namespace avoip::gw
