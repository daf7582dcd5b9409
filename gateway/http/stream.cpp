#include "gateway/http/stream.hpp"

#include <microhttpd.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstring>

namespace avoip::gw {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kQuietMax = std::chrono::seconds(15);
/// For how long a log-in that stood is taken to stand.
constexpr auto kTrusted = std::chrono::seconds(5);
constexpr std::size_t kBlock = std::size_t{16} * 1024;
// What the system holds for a client that does not read.
constexpr int kSendBuffer = 128 * 1024;
constexpr std::string_view kComment = ":\n\n";

struct Stream {
    FollowerHandle follower;
    int socket;
    std::function<bool()> isAllowed;
    steady_clock::time_point allowedUntil = {};
    bool greeted = false;
};

ssize_t put(char* buffer, std::string_view text) {
    std::memcpy(buffer, text.data(), text.size());
    return static_cast<ssize_t>(text.size());
}

/// Waits until there may be something to take; false when there is nobody to take it any more.
bool await(const Stream& stream, steady_clock::time_point until) {
    const milliseconds left =
        std::max(std::chrono::ceil<milliseconds>(until - steady_clock::now()), milliseconds(0));
    std::array<pollfd, 2> waits{pollfd{Feed_descriptor(*stream.follower), POLLIN, 0},
                                pollfd{stream.socket, POLLRDHUP, 0}};
    ::poll(waits.data(), waits.size(), static_cast<int>(left.count()));
    return waits[1].revents == 0;
}

/// Whether the client's log-in still stands, as far as it has been looked at lately.
bool isAllowed(Stream& stream) {
    const auto now = steady_clock::now();
    if (now >= stream.allowedUntil) {
        if (!stream.isAllowed()) {
            return false;
        }
        stream.allowedUntil = now + kTrusted;
    }
    return true;
}

ssize_t read(void* closure, std::uint64_t /*position*/, char* buffer, std::size_t most) {
    Stream& stream = *static_cast<Stream*>(closure);
    if (!stream.greeted) {
        // So that the client sees at once that the stream stands.
        stream.greeted = true;
        return put(buffer, kComment);
    }
    const auto until = steady_clock::now() + kQuietMax;
    while (true) {
        std::string text;
        const Fetched taken = Feed_take(*stream.follower, most, text);
        if (taken == Fetched::kText) {
            return isAllowed(stream) ? put(buffer, text) : MHD_CONTENT_READER_END_OF_STREAM;
        }
        if (taken != Fetched::kNothingYet || !await(stream, until)) {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        if (steady_clock::now() >= until) {
            return isAllowed(stream) ? put(buffer, kComment) : MHD_CONTENT_READER_END_OF_STREAM;
        }
    }
}

void close(void* closure) {
    delete static_cast<Stream*>(closure);
}

}  // namespace

MHD_Response* Stream_open(Feed& feed, MHD_Connection* connection,
                          const std::optional<std::string>& lastEventId,
                          std::function<bool()> isAllowed, FeedFilter wants) {
    const int socket =
        ::MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer);
    ::MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, 0U);
    auto* const stream = new Stream{Feed_follow(feed, lastEventId, socket, std::move(wants)),
                                    socket, std::move(isAllowed)};
    MHD_Response* const response =
        ::MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlock, read, stream, close);
    if (response == nullptr) {
        close(stream);
    }
    return response;
}

}  // namespace avoip::gw
