// Users and tokens in the store.
#include "gateway/base/secret.hpp"
#include "gateway/store/store_state.hpp"

namespace avoip::gw {
namespace {

std::int64_t number(AccountKind kind) {
    return static_cast<std::int64_t>(kind);
}

/// The rooms of a token; nothing when it is not limited.
std::optional<std::vector<std::string>> roomsOf(Database& database, AccountKind kind,
                                                const std::string& name) {
    if (kind == AccountKind::kUser) {
        return std::nullopt;
    }
    Statement read(database, "SELECT room FROM token_room WHERE token=? ORDER BY room");
    read.bind(std::string_view(name));
    std::vector<std::string> rooms;
    while (read.step()) {
        rooms.push_back(read.text(0));
    }
    return rooms.empty() ? std::nullopt : std::optional(std::move(rooms));
}

Account accountAt(Database& database, AccountKind kind, const Statement& row) {
    return {row.text(0), Role_find(row.text(1)).value_or(Role::kViewer), row.text(2),
            roomsOf(database, kind, row.text(0))};
}

std::optional<Account> find(Database& database, AccountKind kind, std::string_view name) {
    Statement read(database, "SELECT name, role, secret FROM account WHERE kind=? AND name=?");
    return read.bind(number(kind)).bind(name).step()
               ? std::optional(accountAt(database, kind, read))
               : std::nullopt;
}

bool isLastAdmin(Database& database, const Account& account) {
    if (account.role != Role::kAdmin) {
        return false;
    }
    Statement count(database, "SELECT count(*) FROM account WHERE kind=? AND role=?");
    count.bind(number(AccountKind::kUser)).bind(Role_name(Role::kAdmin)).step();
    return count.number(0) <= 1;
}

void put(Database& database, AccountKind kind, const Account& account) {
    Statement(database, "INSERT OR REPLACE INTO account VALUES(?,?,?,?)")
        .bind(number(kind))
        .bind(std::string_view(account.name))
        .bind(Role_name(account.role))
        .bind(std::string_view(account.secret))
        .run();
    for (const std::string& room : account.rooms.value_or(std::vector<std::string>())) {
        Statement(database, "INSERT OR REPLACE INTO token_room VALUES(?,?)")
            .bind(std::string_view(account.name))
            .bind(std::string_view(room))
            .run();
    }
}

}  // namespace

std::vector<Account> Store_accounts(Store& store, AccountKind kind) {
    const std::lock_guard lock(store.reading);
    Statement read(store.reader,
                   "SELECT name, role, secret FROM account WHERE kind=? ORDER BY name");
    read.bind(number(kind));
    std::vector<Account> accounts;
    while (read.step()) {
        accounts.push_back(accountAt(store.reader, kind, read));
    }
    return accounts;
}

bool Store_hasUsers(Store& store) {
    const std::lock_guard lock(store.reading);
    return Statement(store.reader, "SELECT 1 FROM account WHERE kind=? LIMIT 1")
        .bind(number(AccountKind::kUser))
        .step();
}

std::optional<Account> Store_user(Store& store, std::string_view name) {
    const std::lock_guard lock(store.reading);
    return find(store.reader, AccountKind::kUser, name);
}

std::optional<Account> Store_token(Store& store, std::string_view secret) {
    const std::lock_guard lock(store.reading);
    Statement read(store.reader,
                   "SELECT name, role, secret FROM account WHERE kind=? AND secret=?");
    return read.bind(number(AccountKind::kToken)).bind(secret).step()
               ? std::optional(accountAt(store.reader, AccountKind::kToken, read))
               : std::nullopt;
}

std::string Token_make(Account& account) {
    constexpr std::size_t kBytes = 32;
    std::string token = "avoip_" + Secret_random(kBytes);
    account.secret = Token_secret(token);
    return token;
}

std::string Token_roomsProblem(Store& store, const Account& account) {
    if (!account.rooms) {
        return {};
    }
    if (account.role == Role::kAdmin) {
        return "must be left out for an admin, who may do everything";
    }
    for (const std::string& room : *account.rooms) {
        if (!Store_get(store, kRoomKind, room)) {
            return "must be names of rooms, and there is no room \"" + room + "\"";
        }
    }
    return account.rooms->empty() ? "must name a room, or be left out" : "";
}

std::string Token_secret(std::string_view token) {
    return Secret_sha256(token);
}

AccountResult Store_addAccount(Store& store, AccountKind kind, const Account& account) {
    const std::lock_guard lock(store.writing);
    Transaction transaction(store.writer);
    if (find(store.writer, kind, account.name)) {
        return AccountResult::kTaken;
    }
    Statement count(store.writer, "SELECT count(*) FROM account");
    count.step();
    if (count.number(0) >= kAccountsMax) {
        throw StoreError{
            "there may be " + std::to_string(kAccountsMax) + " users and tokens at most", true};
    }
    put(store.writer, kind, account);
    transaction.commit();
    return AccountResult::kDone;
}

AccountResult Store_removeAccount(Store& store, AccountKind kind, std::string_view name,
                                  bool keepAdmin) {
    const std::lock_guard lock(store.writing);
    Transaction transaction(store.writer);
    const auto account = find(store.writer, kind, name);
    if (!account) {
        return AccountResult::kUnknown;
    }
    if (keepAdmin && kind == AccountKind::kUser && isLastAdmin(store.writer, *account)) {
        return AccountResult::kLastAdmin;
    }
    Statement(store.writer, "DELETE FROM account WHERE kind=? AND name=?")
        .bind(number(kind))
        .bind(name)
        .run();
    if (kind == AccountKind::kToken) {
        Statement(store.writer, "DELETE FROM token_room WHERE token=?").bind(name).run();
    }
    transaction.commit();
    return AccountResult::kDone;
}

AccountResult Store_changeUser(Store& store, std::string_view name, std::optional<Role> role,
                               const std::optional<std::string>& secret) {
    const std::lock_guard lock(store.writing);
    Transaction transaction(store.writer);
    auto account = find(store.writer, AccountKind::kUser, name);
    if (!account) {
        return AccountResult::kUnknown;
    }
    if (role.value_or(Role::kAdmin) != Role::kAdmin && isLastAdmin(store.writer, *account)) {
        return AccountResult::kLastAdmin;
    }
    account->role = role.value_or(account->role);
    account->secret = secret.value_or(account->secret);
    put(store.writer, AccountKind::kUser, *account);
    transaction.commit();
    return AccountResult::kDone;
}

}  // namespace avoip::gw
