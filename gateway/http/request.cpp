#include "gateway/http/request.hpp"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>

#include <array>
#include <charconv>

namespace avoip::gw {
namespace {

// A body that is refused is passed over up to this size, so that the sender reads the answer; a
// longer one ends the connection.
constexpr std::uint64_t kPassedOverMax = std::size_t{256} * 1024 * 1024;
// How long a body that is refused by its size may take to begin.
constexpr int kBodyBeginsMs = 200;

constexpr std::string_view kJson = "application/json";
constexpr std::string_view kBytes = "application/octet-stream";

std::optional<std::string> header(MHD_Connection* connection, const char* name) {
    const char* const value = ::MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

bool equalLetters(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

struct Peer {
    std::string address;
    bool loopback = false;
};

Peer peerOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* const info =
        ::MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    const sockaddr* const address = info == nullptr ? nullptr : info->client_addr;
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address != nullptr && address->sa_family == AF_INET) {
        const auto* const ipv4 = reinterpret_cast<const sockaddr_in*>(address);
        ::inet_ntop(AF_INET, &ipv4->sin_addr, text.data(), text.size());
        return {text.data(), (ntohl(ipv4->sin_addr.s_addr) >> 24) == 127};
    }
    if (address != nullptr && address->sa_family == AF_INET6) {
        const auto* const ipv6 = reinterpret_cast<const sockaddr_in6*>(address);
        ::inet_ntop(AF_INET6, &ipv6->sin6_addr, text.data(), text.size());
        return {text.data(), IN6_IS_ADDR_LOOPBACK(&ipv6->sin6_addr)};
    }
    return {"unix", true};
}

/// The host of "host:port", in which an IPv6 address stands in brackets.
std::string_view withoutPort(std::string_view host) {
    const std::size_t bracket = host.rfind(']');
    const std::size_t colon = host.rfind(':');
    if (colon != std::string_view::npos &&
        (bracket == std::string_view::npos ? host.find(':') == colon : colon > bracket)) {
        host = host.substr(0, colon);
    }
    return host;
}

bool isLoopbackName(std::string_view host) {
    host = withoutPort(host);
    if (host.starts_with('[') && host.ends_with(']')) {
        return Listen_isLoopback({Family::kIpv6, std::string(host.substr(1, host.size() - 2)), 1});
    }
    in_addr address{};
    const std::string text(host);
    const bool isAddress = ::inet_pton(AF_INET, text.c_str(), &address) == 1;
    return equalLetters(host, "localhost") || (isAddress && text.starts_with("127."));
}

/// Names lead a browser to other addresses than the page came from (DNS rebinding): a listener on
/// loopback answers to the names of loopback alone.
void checkHost(const Ends& ends, MHD_Connection* connection) {
    const auto host = header(connection, MHD_HTTP_HEADER_HOST);
    if (host && ends.listenerIsLoopback && !ends.isLocalSocket && !isLoopbackName(*host)) {
        throw Problem{403, "On loopback, Host must be localhost or an address of loopback."};
    }
}

std::string_view withoutUsualPort(std::string_view host) {
    for (const std::string_view port : {":80", ":443"}) {
        if (host.ends_with(port)) {
            host.remove_suffix(port.size());
            break;
        }
    }
    return host;
}

void checkOrigin(MHD_Connection* connection) {
    const auto origin = header(connection, MHD_HTTP_HEADER_ORIGIN);
    if (!origin) {
        return;
    }
    const std::string host = header(connection, MHD_HTTP_HEADER_HOST).value_or("");
    const std::size_t scheme = origin->find("://");
    const std::string_view authority =
        scheme == std::string::npos ? "" : std::string_view(*origin).substr(scheme + 3);
    if (authority.empty() || !equalLetters(withoutUsualPort(authority), withoutUsualPort(host))) {
        throw Problem{403, "Pages of other hosts may not change anything here."};
    }
}

/// The media type of the body, without its parameters.
std::string_view mediaType(std::string_view value) {
    value = value.substr(0, value.find(';'));
    while (!value.empty() && value.back() == ' ') {
        value.remove_suffix(1);
    }
    return value;
}

void checkBody(Request& request, MHD_Connection* connection) {
    const BodyKind kind = request.match.endpoint->body;
    const auto length = header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
    std::uint64_t size = 0;
    if (length) {
        std::from_chars(length->data(), length->data() + length->size(), size);
    }
    request.hasBody = size > 0 || header(connection, MHD_HTTP_HEADER_TRANSFER_ENCODING);
    request.limit = kind == BodyKind::kImage ? kImageBodyMax : kBodyMax;
    if (size > request.limit) {
        throw Problem{413,
                      "The body may have " + std::to_string(request.limit) + " bytes at most."};
    }
    const std::string type = header(connection, MHD_HTTP_HEADER_CONTENT_TYPE).value_or("");
    const bool binary = equalLetters(mediaType(type), kBytes);
    const bool isJson = equalLetters(mediaType(type), kJson);
    request.call.binaryBody = binary && (kind == BodyKind::kImage || kind == BodyKind::kEdid);
    const bool fits = request.call.binaryBody || (isJson && kind != BodyKind::kImage);
    if (!fits && request.hasBody) {
        throw Problem{415, "The body must be " +
                               std::string(kind == BodyKind::kImage ? kBytes : kJson) + "."};
    }
}

void readCredentials(Request& request, const Ends& ends, MHD_Connection* connection) {
    const Peer peer = peerOf(connection);
    Credentials& credentials = request.credentials;
    credentials.authorization = header(connection, MHD_HTTP_HEADER_AUTHORIZATION);
    credentials.csrfToken = header(connection, "X-CSRF-Token");
    const char* const cookie =
        ::MHD_lookup_connection_value(connection, MHD_COOKIE_KIND, "avoip_session");
    credentials.sessionCookie = cookie == nullptr ? "" : cookie;
    credentials.address = peer.address;
    credentials.loopback = ends.listenerIsLoopback && peer.loopback;
}

void begin(Request& request, Gateway& gateway, const Ends& ends, MHD_Connection* connection) {
    const MHD_ConnectionInfo* const size =
        ::MHD_get_connection_info(connection, MHD_CONNECTION_INFO_REQUEST_HEADER_SIZE);
    if (size != nullptr && size->header_size > kHeadersMax) {
        throw Problem{431,
                      "The headers may have " + std::to_string(kHeadersMax) + " bytes at most."};
    }
    Call& call = request.call;
    const std::string_view target = request.target;
    const std::size_t mark = target.find('?');
    request.file = Panel_find(target.substr(0, mark));
    request.match = request.file != nullptr ? Match{nullptr, {}, "/panel", "GET, HEAD"}
                                            : Endpoint_match(call.method, target.substr(0, mark));
    readCredentials(request, ends, connection);
    checkHost(ends, connection);
    if (request.file != nullptr && (call.method == "GET" || call.method == "HEAD")) {
        return;
    }
    if (request.match.endpoint == nullptr) {
        throw request.match.allow.empty()
            ? Problem{404, "There is nothing under this path."}
            : Problem{405, "This path has " + request.match.allow + " only."};
    }
    call.endpoint = request.match.endpoint;
    call.parts = request.match.parts;
    if (call.endpoint->method != "GET") {
        checkOrigin(connection);
    }
    call.caller = Access_check(gateway, *call.endpoint, request.credentials);
    call.query = Endpoint_readQuery(*call.endpoint,
                                    mark == std::string_view::npos ? "" : target.substr(mark + 1));
    call.accept = header(connection, MHD_HTTP_HEADER_ACCEPT).value_or("");
    call.secure = ends.secure;
    checkBody(request, connection);
    if (call.endpoint->body == BodyKind::kImage) {
        call.upload = std::make_unique<ImageUpload>(gateway.data);
    }
}

}  // namespace

void Request_begin(Request& request, Gateway& gateway, const Ends& ends, MHD_Connection* connection,
                   std::string_view method) {
    request.begun = true;
    request.call.method = method;
    try {
        begin(request, gateway, ends, connection);
    } catch (const Problem& problem) {
        request.refusal = problem;
    } catch (const StoreError& error) {
        request.refusal = Problem{error.full ? 507 : 500, error.text + "."};
    } catch (const TooManyUploads&) {
        request.refusal = Problem{503, "Other images are on their way in.", "", 10};
    }
    if (request.refusal) {
        const auto length = header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
        request.hasBody = (length && *length != "0") ||
                          header(connection, MHD_HTTP_HEADER_TRANSFER_ENCODING).has_value();
    }
}

bool Request_isHeldBack(const Request& request, MHD_Connection* connection) {
    if (!request.hasBody || !request.refusal) {
        return false;
    }
    if (header(connection, MHD_HTTP_HEADER_EXPECT)) {
        return true;
    }
    // A sender that has not begun is answered at once. One that sends already is listened to: if
    // the connection ended before, it would see that instead of the answer.
    const MHD_ConnectionInfo* const info =
        ::MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    pollfd socket{info->connect_fd, POLLIN, 0};
    return request.refusal->status == 413 && ::poll(&socket, 1, kBodyBeginsMs) == 0;
}

Fed Request_feed(Request& request, std::string_view part) {
    request.received += part.size();
    if (request.received > kPassedOverMax) {
        return Fed::kEnough;
    }
    if (!request.refusal && request.received > request.limit) {
        request.refusal =
            Problem{413, "The body may have " + std::to_string(request.limit) + " bytes at most."};
        request.call.body.clear();
    }
    if (request.refusal) {
        return Fed::kMore;
    }
    try {
        if (request.call.upload) {
            request.call.upload->add(part);
        } else {
            request.call.body.append(part);
        }
    } catch (const StoreError& error) {
        request.refusal = Problem{error.full ? 507 : 500, error.text + "."};
    }
    return Fed::kMore;
}

}  // namespace avoip::gw
