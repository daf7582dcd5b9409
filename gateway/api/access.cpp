#include "gateway/api/access.hpp"

#include <strings.h>

#include "gateway/api/limit.hpp"
#include "gateway/base/secret.hpp"

namespace avoip::gw {
namespace {

constexpr std::string_view kBearer = "Bearer ";

bool isReading(const Endpoint& endpoint) {
    return endpoint.method == "GET";
}

void takeToken(const Account& token, Caller& caller) {
    caller.name = token.name;
    caller.role = token.role;
    caller.rooms = token.rooms;
    caller.token = true;
}

void identifyToken(Gateway& gateway, const std::string& authorization, Caller& caller) {
    const bool bearer = authorization.size() > kBearer.size() &&
                        ::strncasecmp(authorization.c_str(), kBearer.data(), kBearer.size()) == 0;
    const auto token =
        bearer ? Store_token(gateway.store, Token_secret(authorization.substr(kBearer.size())))
               : std::nullopt;
    if (token) {
        takeToken(*token, caller);
    }
}

void identifySession(Gateway& gateway, const std::string& cookie, Caller& caller) {
    const auto session = Sessions_find(gateway.sessions, cookie, gateway.clock());
    if (!session) {
        return;
    }
    if (!session->token.empty()) {
        if (const auto token = Store_token(gateway.store, session->token)) {
            takeToken(*token, caller);
            caller.session = cookie;
        }
        return;
    }
    if (const auto user = Store_user(gateway.store, session->user)) {
        caller.name = user->name;
        caller.role = user->role;
        caller.session = cookie;
    }
}

Role neededFor(Access access) {
    return access == Access::kAdmin      ? Role::kAdmin
           : access == Access::kOperator ? Role::kOperator
                                         : Role::kViewer;
}

/// Whether a call needs nobody's name.
bool isForAnybody(const Gateway& gateway, const Endpoint& endpoint, bool loopback) {
    switch (endpoint.access) {
        case Access::kAnybody:
            return true;
        case Access::kViewerOrLoopback:
            return loopback || gateway.config.http.open;
        case Access::kViewer:
            return gateway.config.http.open && isReading(endpoint);
        case Access::kOperator:
        case Access::kAdmin:
            return false;
    }
    return false;
}

void checkCsrf(Gateway& gateway, const Endpoint& endpoint, const Credentials& credentials) {
    // A log-in proves itself by the password.
    if (isReading(endpoint) || endpoint.name == "logIn") {
        return;
    }
    const auto session =
        Sessions_find(gateway.sessions, credentials.sessionCookie, gateway.clock());
    if (!session || !Secret_equal(credentials.csrfToken.value_or(""), session->csrfToken)) {
        throw Problem{403, "With the cookie, X-CSRF-Token must hold the session's csrf_token."};
    }
}

}  // namespace

Caller Access_check(Gateway& gateway, const Endpoint& endpoint, const Credentials& credentials) {
    Caller caller;
    caller.address = credentials.address;
    caller.loopback = credentials.loopback;
    if (credentials.authorization) {
        identifyToken(gateway, *credentials.authorization, caller);
    } else if (!credentials.sessionCookie.empty()) {
        identifySession(gateway, credentials.sessionCookie, caller);
    }
    if (!caller.name && !credentials.authorization && caller.loopback &&
        !Store_hasUsers(gateway.store)) {
        caller.name = "local";
        caller.role = Role::kAdmin;
    }
    if (!caller.session.empty()) {
        checkCsrf(gateway, endpoint, credentials);
    }
    if (caller.rooms && !Limit_opens(endpoint)) {
        throw Problem{403, "This log-in is for some rooms only."};
    }
    if (isForAnybody(gateway, endpoint, caller.loopback)) {
        return caller;
    }
    if (!caller.name) {
        throw Problem{401, credentials.authorization ? "The token is not known."
                                                     : "This needs a log-in or a token."};
    }
    if (caller.role < neededFor(endpoint.access)) {
        throw Problem{403, "This needs the role " +
                               std::string(Role_name(neededFor(endpoint.access))) + "; \"" +
                               *caller.name + "\" is " + std::string(Role_name(caller.role)) + "."};
    }
    return caller;
}

}  // namespace avoip::gw
