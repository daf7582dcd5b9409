#include "gateway/api/sessions.hpp"

#include <algorithm>

#include "gateway/base/secret.hpp"

namespace avoip::gw {
namespace {

constexpr std::size_t kSecretBytes = 32;
// So many addresses are watched; beyond that those that have been quiet the longest are forgotten.
constexpr std::size_t kAddressesMax = 10'000;

void forgetOldest(Attempts& attempts) {
    const auto oldest = std::min_element(attempts.wrong.begin(), attempts.wrong.end(),
                                         [](const auto& left, const auto& right) {
                                             return left.second.back() < right.second.back();
                                         });
    attempts.wrong.erase(oldest);
}

}  // namespace

std::string Sessions_begin(Sessions& sessions, const std::string& user, Time now,
                           const std::string& token) {
    std::string cookie = Secret_random(kSecretBytes);
    const std::lock_guard lock(sessions.mutex);
    std::erase_if(sessions.open, [now](const auto& each) { return each.second.expiresAt <= now; });
    if (sessions.open.size() >= kSessionsMax) {
        sessions.open.erase(std::min_element(
            sessions.open.begin(), sessions.open.end(), [](const auto& left, const auto& right) {
                return left.second.expiresAt < right.second.expiresAt;
            }));
    }
    sessions.open[Secret_sha256(cookie)] = {user, Secret_random(kSecretBytes), now + kSessionLife,
                                            token};
    return cookie;
}

std::optional<UserSession> Sessions_find(Sessions& sessions, std::string_view cookie, Time now) {
    const std::string key = Secret_sha256(cookie);
    const std::lock_guard lock(sessions.mutex);
    const auto found = sessions.open.find(key);
    return found == sessions.open.end() || found->second.expiresAt <= now
               ? std::nullopt
               : std::optional(found->second);
}

void Sessions_end(Sessions& sessions, std::string_view cookie) {
    const std::string key = Secret_sha256(cookie);
    const std::lock_guard lock(sessions.mutex);
    sessions.open.erase(key);
}

void Sessions_endOf(Sessions& sessions, std::string_view user, std::string_view cookie) {
    const std::string kept = Secret_sha256(cookie);
    const std::lock_guard lock(sessions.mutex);
    std::erase_if(sessions.open, [&](const auto& each) {
        return each.second.user == user && each.second.token.empty() && each.first != kept;
    });
}

int Attempts_begin(Attempts& attempts, const std::string& address, Time now) {
    const std::lock_guard lock(attempts.mutex);
    std::deque<Time>& wrong = attempts.wrong[address];
    while (!wrong.empty() && wrong.front() + kAttemptsWithin <= now) {
        wrong.pop_front();
    }
    if (wrong.size() >= kAttemptsMax) {
        const auto left = wrong.front() + kAttemptsWithin - now;
        return static_cast<int>(std::chrono::ceil<std::chrono::seconds>(left).count());
    }
    wrong.push_back(now);
    if (attempts.wrong.size() > kAddressesMax) {
        forgetOldest(attempts);
    }
    return 0;
}

void Attempts_right(Attempts& attempts, const std::string& address) {
    const std::lock_guard lock(attempts.mutex);
    const auto found = attempts.wrong.find(address);
    if (found == attempts.wrong.end()) {
        return;
    }
    found->second.pop_back();
    if (found->second.empty()) {
        attempts.wrong.erase(found);
    }
}

}  // namespace avoip::gw
