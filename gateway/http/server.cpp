#include "gateway/http/server.hpp"

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <fstream>
#include <iterator>

#include "gateway/api/limit.hpp"
#include "gateway/http/request.hpp"
#include "gateway/http/sockets.hpp"
#include "gateway/http/stream.hpp"

namespace avoip::gw {
namespace {

// Beyond our own limit of connections, so many are still answered at a time.
constexpr unsigned kRefusedMax = 64;
constexpr unsigned kRefusedIdleS = 5;
constexpr std::size_t kConnectionMemory = std::size_t{64} * 1024;
constexpr std::size_t kStack = std::size_t{512} * 1024;

struct StopDaemon {
    void operator()(MHD_Daemon* daemon) const { ::MHD_stop_daemon(daemon); }
};

/// One address that is listened on.
struct Listener {
    Server& server;
    Ends ends;
    std::unique_ptr<MHD_Daemon, StopDaemon> daemon = {};
};

}  // namespace

struct Server {
    Gateway& gateway;
    std::atomic<int> connections = 0;
    std::deque<Listener> listeners = {};
};

namespace {

using ResponseHandle = std::unique_ptr<MHD_Response, void (*)(MHD_Response*)>;

/// The response of the library, which shares the text.
ResponseHandle made(const Response& response) {
    using Text = std::shared_ptr<const std::string>;
    MHD_Response* handle = nullptr;
    if (response.body == nullptr) {
        handle = ::MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT);
    } else {
        auto* const kept = new Text(response.body);
        handle = ::MHD_create_response_from_buffer_with_free_callback_cls(
            (*kept)->size(), const_cast<char*>((*kept)->data()),
            [](void* closure) { delete static_cast<Text*>(closure); }, kept);
    }
    const auto add = [handle](const char* name, const std::string& value) {
        ::MHD_add_response_header(handle, name, value.c_str());
    };
    if (!response.type.empty()) {
        add(MHD_HTTP_HEADER_CONTENT_TYPE, response.type);
    }
    for (const auto& [name, value] : response.headers) {
        add(name.c_str(), value);
    }
    return {handle, ::MHD_destroy_response};
}

MHD_Result queue(MHD_Connection* connection, int status, MHD_Response* response) {
    if (::MHD_get_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL) == nullptr) {
        ::MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    }
    ::MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    ::MHD_add_response_header(response, "Referrer-Policy", "no-referrer");
    return ::MHD_queue_response(connection, static_cast<unsigned>(status), response);
}

/// The method as metrics count it; what is none is counted as one.
std::string_view countedMethod(const std::string& method) {
    constexpr std::array<std::string_view, 6> kMethods{"GET",  "HEAD",  "PUT",
                                                       "POST", "PATCH", "DELETE"};
    const auto* const found = std::find(kMethods.begin(), kMethods.end(), method);
    return found == kMethods.end() ? "other" : *found;
}

void count(Server& server, const Request& request, int status) {
    const std::string_view path = request.match.path.empty() ? "none" : request.match.path;
    Metrics_countRequest(server.gateway.metrics, countedMethod(request.call.method), path, status);
}

/// Whether the answer is the stream of events.
bool streams(const Request& request) {
    return !request.refusal && request.file == nullptr && request.call.endpoint->handle == nullptr;
}

MHD_Result streamEvents(Server& server, Request& request, MHD_Connection* connection) {
    const char* const last =
        ::MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Last-Event-ID");
    const auto isAllowed = [&server, endpoint = request.call.endpoint,
                            credentials = request.credentials] {
        try {
            Access_check(server.gateway, *endpoint, credentials);
            return true;
        } catch (const Problem&) {
            return false;
        }
    };
    const ResponseHandle response(
        Stream_open(server.gateway.feed, connection,
                    last == nullptr ? std::nullopt : std::optional<std::string>(last), isAllowed,
                    Limit_ofEvents(server.gateway, request.call.caller)),
        ::MHD_destroy_response);
    if (response == nullptr) {
        return MHD_NO;
    }
    ::MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, "text/event-stream");
    ::MHD_add_response_header(response.get(), "X-Accel-Buffering", "no");
    count(server, request, MHD_HTTP_OK);
    return queue(connection, MHD_HTTP_OK, response.get());
}

std::string_view headerOf(MHD_Connection* connection, const char* name) {
    const char* const value = ::MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? "" : value;
}

Response responseTo(Server& server, Request& request, MHD_Connection* connection) {
    if (request.refusal) {
        return Response_problem(*request.refusal);
    }
    if (request.file != nullptr) {
        return Panel_response(*request.file, {headerOf(connection, MHD_HTTP_HEADER_ACCEPT_ENCODING),
                                              headerOf(connection, MHD_HTTP_HEADER_IF_NONE_MATCH)});
    }
    if (streams(request)) {
        return {200, nullptr, "text/event-stream"};
    }
    return Endpoint_call(server.gateway, request.call);
}

MHD_Result answer(Server& server, Request& request, MHD_Connection* connection) {
    if (streams(request) && request.call.method != "HEAD") {
        return streamEvents(server, request, connection);
    }
    Response response = responseTo(server, request, connection);
    if (response.status == 405) {
        response.headers.emplace_back("Allow", request.match.allow);
    }
    count(server, request, response.status);
    const ResponseHandle handle = made(response);
    return queue(connection, response.status, handle.get());
}

MHD_Result refuseConnection(MHD_Connection* connection) {
    Response response = Response_problem({503, "There are too many connections.", "", 1});
    response.headers.emplace_back("Connection", "close");
    const ResponseHandle handle = made(response);
    return queue(connection, response.status, handle.get());
}

/// Whether a connection is one of those that are beyond our limit.
bool isRefused(MHD_Connection* connection) {
    const MHD_ConnectionInfo* const info =
        ::MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info != nullptr && info->socket_context != nullptr;
}

void* onTarget(void* /*closure*/, const char* target, MHD_Connection* /*connection*/) {
    return new Request{target};
}

MHD_Result onRequest(void* closure, MHD_Connection* connection, const char* /*url*/,
                     const char* method, const char* /*version*/, const char* part,
                     std::size_t* size, void** context) {
    const auto& listener = *static_cast<const Listener*>(closure);
    Request& request = *static_cast<Request*>(*context);
    if (!request.begun) {
        if (isRefused(connection)) {
            request.begun = true;
            return refuseConnection(connection);
        }
        Request_begin(request, listener.server.gateway, listener.ends, connection, method);
        // The library keeps a connection open only when the answer comes with the next call.
        return Request_isHeldBack(request, connection)
                   ? answer(listener.server, request, connection)
                   : MHD_YES;
    }
    if (*size > 0) {
        const Fed fed = Request_feed(request, {part, *size});
        *size = 0;
        return fed == Fed::kMore ? MHD_YES : MHD_NO;
    }
    return answer(listener.server, request, connection);
}

void onCompleted(void* /*closure*/, MHD_Connection* /*connection*/, void** context,
                 MHD_RequestTerminationCode /*how*/) {
    delete static_cast<Request*>(*context);
    *context = nullptr;
}

void onConnection(void* closure, MHD_Connection* connection, void** context,
                  MHD_ConnectionNotificationCode code) {
    Server& server = static_cast<Listener*>(closure)->server;
    if (code == MHD_CONNECTION_NOTIFY_CLOSED) {
        --server.connections;
    } else if (++server.connections > kConnectionsMax) {
        *context = &server;
        ::MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, kRefusedIdleS);
    }
}

/// Leaves paths and parameters as they came; the rows of the API decode what they take.
std::size_t leaveEncoded(void* /*closure*/, MHD_Connection* /*connection*/, char* text) {
    return std::char_traits<char>::length(text);
}

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (text.empty()) {
        throw ServerError{path + ": the file cannot be read, or is empty"};
    }
    return text;
}

void start(Listener& listener, const Listen& where, const Config& config) {
    unsigned flags = MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD |
                     MHD_USE_POLL | MHD_USE_ITC;
    std::string certificate;
    std::string key;
    std::array<MHD_OptionItem, 3> tls{MHD_OptionItem{MHD_OPTION_END, 0, nullptr}};
    if (listener.ends.secure) {
        flags |= MHD_USE_TLS;
        certificate = fileText(config.http.tlsCertificate);
        key = fileText(config.http.tlsKey);
        tls = {MHD_OptionItem{MHD_OPTION_HTTPS_MEM_CERT, 0, certificate.data()},
               MHD_OptionItem{MHD_OPTION_HTTPS_MEM_KEY, 0, key.data()},
               MHD_OptionItem{MHD_OPTION_END, 0, nullptr}};
    }
    Descriptor socket = Sockets_listen(where);
    listener.daemon.reset(::MHD_start_daemon(
        flags, 0, nullptr, nullptr, onRequest, &listener,            // no policy of addresses
        MHD_OPTION_LISTEN_SOCKET, socket.get(),                      //
        MHD_OPTION_CONNECTION_LIMIT, kConnectionsMax + kRefusedMax,  //
        MHD_OPTION_CONNECTION_TIMEOUT, kIdleS,                       //
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionMemory,       //
        MHD_OPTION_THREAD_STACK_SIZE, kStack,                        //
        MHD_OPTION_URI_LOG_CALLBACK, onTarget, nullptr,              //
        MHD_OPTION_NOTIFY_COMPLETED, onCompleted, nullptr,           //
        MHD_OPTION_NOTIFY_CONNECTION, onConnection, &listener,       //
        MHD_OPTION_UNESCAPE_CALLBACK, leaveEncoded, nullptr,         //
        MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,                        //
        MHD_OPTION_ARRAY, tls.data(), MHD_OPTION_END));
    if (listener.daemon == nullptr) {
        throw ServerError{"cannot serve on " + Listen_text(where) +
                          (listener.ends.secure ? ": look at the certificate and its key" : "")};
    }
    // The library closes it from now on.
    static_cast<void>(socket.release());
}

}  // namespace

void ServerClose::operator()(Server* server) const {
    Feed_stop(server->gateway.feed);
    delete server;
}

ServerHandle Server_open(Gateway& gateway) {
    ServerHandle server(new Server{gateway});
    const Config& config = gateway.config;
    for (const std::string& text : config.http.listen) {
        const Listen where = *Listen_parse(text);
        const Ends ends{Listen_isLoopback(where), where.family == Family::kUnix,
                        !config.http.tlsCertificate.empty()};
        Listener& listener = server->listeners.emplace_back(Listener{*server, ends});
        try {
            // cppcheck-suppress danglingTempReference ; the list has a copy of its own
            start(listener, where, config);
        } catch (const SocketError& error) {
            throw ServerError{error.text};
        }
    }
    return server;
}

}  // namespace avoip::gw
