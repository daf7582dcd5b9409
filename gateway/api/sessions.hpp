// Who is logged in, and who has tried too often.
//
// Sessions live as long as the process. May be called from any thread.
#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "gateway/state/time.hpp"

namespace avoip::gw {

inline constexpr auto kSessionLife = std::chrono::hours(24 * 7);
/// The oldest ends when there are more.
inline constexpr std::size_t kSessionsMax = 1024;

struct UserSession {
    std::string user;
    std::string csrfToken;
    Time expiresAt;
    /// Of a session that a token began: what is stored of it. Such a session ends with the token.
    std::string token = {};
    bool operator==(const UserSession&) const = default;
};

struct Sessions {
    std::mutex mutex;
    /// By the SHA-256 of the cookie.
    std::map<std::string, UserSession, std::less<>> open;
};

/// Begins a session of a user, or of the token of that name; gives its cookie.
std::string Sessions_begin(Sessions& sessions, const std::string& user, Time now,
                           const std::string& token = {});

std::optional<UserSession> Sessions_find(Sessions& sessions, std::string_view cookie, Time now);

/// Ends the session of a cookie.
void Sessions_end(Sessions& sessions, std::string_view cookie);

/// Ends all sessions that a user's password began but that of the cookie.
void Sessions_endOf(Sessions& sessions, std::string_view user, std::string_view cookie = {});

/// Wrong passwords of the last minute, by address.
struct Attempts {
    std::mutex mutex;
    std::map<std::string, std::deque<Time>, std::less<>> wrong;
};

inline constexpr std::size_t kAttemptsMax = 5;
inline constexpr auto kAttemptsWithin = std::chrono::minutes(1);

/// Seconds to wait until an address may try again; 0 when it may now. An attempt that may be made
/// counts as wrong until Attempts_right() says otherwise, so that many at once are no way around.
int Attempts_begin(Attempts& attempts, const std::string& address, Time now);

/// The last attempt of this address was right: it counts no longer.
void Attempts_right(Attempts& attempts, const std::string& address);

}  // namespace avoip::gw
