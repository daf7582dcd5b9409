// Log-ins, users and tokens.
#include "gateway/api/handlers.hpp"
#include "gateway/api/json_body.hpp"
#include "gateway/base/secret.hpp"
#include "gateway/base/text.hpp"
#include "gateway/store/password.hpp"
#include "lib/base/json.hpp"

namespace avoip::gw::handlers {
namespace {

/// Who is not limited to rooms has no such member.
void addRooms(cJSON* parent, const std::optional<std::vector<std::string>>& rooms) {
    if (rooms) {
        cJSON* const array = Json_addArray(parent, "rooms");
        for (const std::string& room : *rooms) {
            Json_appendText(array, room);
        }
    }
}

std::string accountJson(const Account& account, const std::string& token = {}) {
    const Json json = Json_newObject();
    Json_addText(json.get(), "name", account.name);
    Json_addText(json.get(), "role", Role_name(account.role));
    addRooms(json.get(), account.rooms);
    if (!token.empty()) {
        Json_addText(json.get(), "token", token);
    }
    return Json_print(json.get());
}

Response accounts(Gateway& gateway, AccountKind kind, std::string_view name) {
    std::vector<std::string> rows;
    for (const Account& account : Store_accounts(gateway.store, kind)) {
        rows.push_back(accountJson(account));
    }
    return Response_json(collection(gateway, name, rows));
}

std::optional<Role> roleOf(Body& body) {
    const auto name = body.text("role");
    const auto role = name ? Role_find(*name) : std::nullopt;
    if (name && !role) {
        body.blame("role", "role must be viewer, operator or admin.");
    }
    return role;
}

std::optional<std::string> passwordOf(Body& body, std::string_view key) {
    auto password = body.text(key);
    const std::string problem = password ? Password_problem(*password) : "";
    if (!problem.empty()) {
        body.blame(key, std::string(key) + " " + problem + ".");
    }
    return password;
}

/// Name and role of a new user or token.
Account newAccount(Body& body) {
    body.require("name");
    body.require("role");
    Account account;
    account.name = body.text("name").value_or("");
    account.role = roleOf(body).value_or(Role::kViewer);
    const std::string problem = Text_nameProblem(account.name);
    if (!problem.empty()) {
        body.blame("name", "name " + problem + ".");
    }
    return account;
}

/// Throws the problem that a change of users or tokens ended with.
void check(AccountResult result, std::string_view what, const std::string& name) {
    switch (result) {
        case AccountResult::kDone:
            return;
        case AccountResult::kUnknown:
            throw unknown(what, name);
        case AccountResult::kTaken:
            throw Problem{409, "There is a " + std::string(what) + " \"" + name + "\" already.",
                          "name"};
        case AccountResult::kLastAdmin:
            throw Problem{409, "\"" + name + "\" is the last user who is an admin."};
    }
}

std::string sessionJson(const Account& account, const std::optional<UserSession>& session) {
    const Json json = Json_newObject();
    Json_addText(json.get(), "user", account.name);
    Json_addText(json.get(), "role", Role_name(account.role));
    addRooms(json.get(), account.rooms);
    if (session) {
        Json_addText(json.get(), "csrf_token", session->csrfToken);
        Json_addText(json.get(), "expires_at", Time_text(session->expiresAt));
    } else {
        Json_addNull(json.get(), "csrf_token");
        Json_addNull(json.get(), "expires_at");
    }
    return Json_print(json.get());
}

/// The header that gives the browser its cookie, or takes it away.
std::pair<std::string, std::string> cookieHeader(const Call& call, const std::string& cookie) {
    const auto life = std::chrono::seconds(kSessionLife).count();
    return {"Set-Cookie",
            "avoip_session=" + cookie + "; Path=/; HttpOnly; SameSite=Strict; Max-Age=" +
                std::to_string(cookie.empty() ? 0 : life) + (call.secure ? "; Secure" : "")};
}

/// Counts an attempt to log in. Throws 429 when there were too many wrong ones.
void beginAttempt(Gateway& gateway, const Call& call) {
    const int wait_s = Attempts_begin(gateway.attempts, call.caller.address, gateway.clock());
    if (wait_s > 0) {
        throw Problem{429, "There were too many wrong passwords from this address.", "", wait_s};
    }
}

/// The user, when the password is right. Throws 401, or 429 after too many wrong ones.
Account authenticate(Gateway& gateway, const Call& call, const std::string& name,
                     const std::string& password) {
    beginAttempt(gateway, call);
    const auto user = Store_user(gateway.store, name);
    if (!Password_matches(password, user ? user->secret : "")) {
        throw Problem{401, "The user or the password is wrong."};
    }
    Attempts_right(gateway.attempts, call.caller.address);
    return *user;
}

/// The same of a token.
Account authenticateToken(Gateway& gateway, const Call& call, const std::string& token) {
    beginAttempt(gateway, call);
    const auto found = Store_token(gateway.store, Token_secret(token));
    if (!found) {
        throw Problem{401, "The token is not known.", "token"};
    }
    Attempts_right(gateway.attempts, call.caller.address);
    return *found;
}

/// Whoever a log-in is for, by a user's name and password or by a token.
struct LogIn {
    Account account;
    bool byToken = false;
};
LogIn readLogIn(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"user", "password"};
    constexpr std::string_view kTokenMembers[] = {"token"};
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    const auto token = body.text("token");
    if (token) {
        body.only(kTokenMembers);
        handlers::check(body);
        return {authenticateToken(gateway, call, *token), true};
    }
    body.only(kMembers);
    body.require("user");
    body.require("password");
    const std::string name = body.text("user").value_or("");
    const std::string password = body.text("password").value_or("");
    handlers::check(body);
    call.target = name;
    return {authenticate(gateway, call, name, password)};
}

/// Whoever is logged in; throws 401.
UserSession sessionOf(Gateway& gateway, const Call& call) {
    const auto session =
        call.caller.session.empty()
            ? std::nullopt
            : Sessions_find(gateway.sessions, call.caller.session, gateway.clock());
    if (!session) {
        throw Problem{401, "Nobody is logged in."};
    }
    return *session;
}

}  // namespace

Response logIn(Gateway& gateway, Call& call) {
    const auto [account, byToken] = readLogIn(gateway, call);
    call.target = account.name;
    const std::string cookie = Sessions_begin(gateway.sessions, account.name, gateway.clock(),
                                              byToken ? account.secret : "");
    call.caller.name = account.name;
    Response response = Response_json(
        sessionJson(account, Sessions_find(gateway.sessions, cookie, gateway.clock())));
    response.headers.push_back(cookieHeader(call, cookie));
    return response;
}

Response session(Gateway& gateway, Call& call) {
    const Account account{call.caller.name.value_or(""), call.caller.role, "", call.caller.rooms};
    if (!call.caller.session.empty()) {
        return Response_json(sessionJson(account, sessionOf(gateway, call)));
    }
    // Of a token it is told whose it is; nobody is logged in where no log-in is needed.
    if (!call.caller.token) {
        throw Problem{401, "Nobody is logged in."};
    }
    return Response_json(sessionJson(account, std::nullopt));
}

Response logOut(Gateway& gateway, Call& call) {
    const UserSession ended = sessionOf(gateway, call);
    Sessions_end(gateway.sessions, call.caller.session);
    call.target = ended.user;
    Response response = Response_empty();
    response.headers.push_back(cookieHeader(call, ""));
    return response;
}

Response changePassword(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"old", "new"};
    const UserSession own = sessionOf(gateway, call);
    if (!own.token.empty()) {
        throw Problem{403, "A token has no password."};
    }
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    body.require("old");
    body.require("new");
    const std::string old = body.text("old").value_or("");
    const auto wanted = passwordOf(body, "new");
    check(body);
    call.target = own.user;
    try {
        authenticate(gateway, call, own.user, old);
    } catch (const Problem& problem) {
        // The session stands: it is the body that is wrong.
        throw problem.status == 401 ? Problem{403, "The old password is wrong.", "old"} : problem;
    }
    check(Store_changeUser(gateway.store, own.user, {}, Password_hash(*wanted)), "user", own.user);
    Sessions_endOf(gateway.sessions, own.user, call.caller.session);
    return Response_empty();
}

Response users(Gateway& gateway, Call& /*call*/) {
    return accounts(gateway, AccountKind::kUser, "users");
}

Response addUser(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"name", "role", "password"};
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    body.require("password");
    Account account = newAccount(body);
    const auto password = passwordOf(body, "password");
    check(body);
    call.target = account.name;
    account.secret = Password_hash(*password);
    check(Store_addAccount(gateway.store, AccountKind::kUser, account), "user", account.name);
    return Response_json(accountJson(account), 201);
}

Response changeUser(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"role", "password"};
    const std::string& name = call.parts.at(0);
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    const auto role = roleOf(body);
    const auto password = passwordOf(body, "password");
    check(body);
    std::optional<std::string> secret;
    if (password) {
        secret = Password_hash(*password);
    }
    check(Store_changeUser(gateway.store, name, role, secret), "user", name);
    if (password) {
        Sessions_endOf(gateway.sessions, name, call.caller.session);
    }
    const auto changed = Store_user(gateway.store, name);
    if (!changed) {
        throw unknown("user", name);
    }
    return Response_json(accountJson(*changed));
}

Response removeUser(Gateway& gateway, Call& call) {
    const std::string& name = call.parts.at(0);
    check(Store_removeAccount(gateway.store, AccountKind::kUser, name, true), "user", name);
    Sessions_endOf(gateway.sessions, name);
    return Response_empty();
}

Response tokens(Gateway& gateway, Call& /*call*/) {
    return accounts(gateway, AccountKind::kToken, "tokens");
}

Response addToken(Gateway& gateway, Call& call) {
    constexpr std::string_view kMembers[] = {"name", "role", "rooms"};
    const Json tree = Body_parse(call.body);
    Body body(tree.get());
    body.only(kMembers);
    Account account = newAccount(body);
    account.rooms = body.texts("rooms");
    const std::string problem = Token_roomsProblem(gateway.store, account);
    if (!problem.empty()) {
        body.blame("rooms", "rooms " + problem + ".");
    }
    check(body);
    call.target = account.name;
    const std::string token = Token_make(account);
    check(Store_addAccount(gateway.store, AccountKind::kToken, account), "token", account.name);
    return Response_json(accountJson(account, token), 201);
}

Response removeToken(Gateway& gateway, Call& call) {
    const std::string& name = call.parts.at(0);
    check(Store_removeAccount(gateway.store, AccountKind::kToken, name, false), "token", name);
    return Response_empty();
}

}  // namespace avoip::gw::handlers
