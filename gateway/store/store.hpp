// What is kept over a restart: presets, locks, walls, rooms, jobs and the facts of images, each a
// JSON document of a kind under a name; users and tokens; and the log.
//
// One SQLite database in the data folder. What a call has returned from is on the disk: a process
// that is killed, or a machine that loses its power, loses nothing of it. When there is no room the
// call throws StoreError and has changed nothing. All functions may be called from any thread;
// reads do not wait for writes. Another process may change the users and tokens at any time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/base/role.hpp"
#include "gateway/state/time.hpp"
#include "gateway/store/database.hpp"
#include "lib/base/descriptor.hpp"

namespace avoip::gw {

/// The kinds of documents.
inline constexpr std::string_view kPresetKind = "preset";
inline constexpr std::string_view kLockKind = "lock";
inline constexpr std::string_view kWallKind = "wall";
inline constexpr std::string_view kRoomKind = "room";
inline constexpr std::string_view kJobKind = "job";
inline constexpr std::string_view kImageKind = "image";

/// Bounds: documents of a kind, bytes of one, users and tokens together, entries of the log
/// and bytes of the detail of one.
inline constexpr int kDocumentsMax = 4096;
inline constexpr std::size_t kDocumentSizeMax = std::size_t{256} * 1024;
inline constexpr int kAccountsMax = 4096;
inline constexpr int kLogMax = 200'000;
inline constexpr std::size_t kLogDetailMax = 1024;

struct Store;
struct StoreClose {
    void operator()(Store* store) const;
};
using StoreHandle = std::unique_ptr<Store, StoreClose>;

/// Takes a data folder, which is made where it is missing, for a gateway that serves from it: no
/// other one has it as long as the descriptor is open, in whatever way the process ends. Throws
/// StoreError, also when another one has it.
Descriptor Store_claim(const std::string& folder);

/// Opens the store in a folder, which is made where it is missing, whoever has claimed it. Throws
/// StoreError.
StoreHandle Store_open(const std::string& folder);

struct Document {
    std::string name;
    std::string body;
};

/// Stores a document in place of the one of this name; gives whether it is new.
bool Store_put(Store& store, std::string_view kind, std::string_view name, std::string_view body);

/// Removes a document; gives whether there was one.
bool Store_remove(Store& store, std::string_view kind, std::string_view name);

std::optional<std::string> Store_get(Store& store, std::string_view kind, std::string_view name);

/// All documents of a kind, sorted by name.
std::vector<Document> Store_list(Store& store, std::string_view kind);

enum class AccountKind { kUser, kToken };

struct Account {
    std::string name;
    Role role = Role::kViewer;
    /// Of a user: what crypt() made of the password. Of a token: its SHA-256.
    std::string secret = {};
    /// Of a token: the rooms that it is limited to; nothing: no limit.
    std::optional<std::vector<std::string>> rooms = {};
};

/// What became of a change of users or tokens.
enum class AccountResult { kDone, kUnknown, kTaken, kLastAdmin };

std::vector<Account> Store_accounts(Store& store, AccountKind kind);
bool Store_hasUsers(Store& store);
std::optional<Account> Store_user(Store& store, std::string_view name);
std::optional<Account> Store_token(Store& store, std::string_view secret);

AccountResult Store_addAccount(Store& store, AccountKind kind, const Account& account);

/// Removes one. With `keepAdmin`, not the only user who is an admin.
AccountResult Store_removeAccount(Store& store, AccountKind kind, std::string_view name,
                                  bool keepAdmin);

/// Changes what is given; never makes the last admin something else.
AccountResult Store_changeUser(Store& store, std::string_view name, std::optional<Role> role,
                               const std::optional<std::string>& secret);

/// Gives an account the secret of a new token; returns the token, which is kept nowhere.
std::string Token_make(Account& account);

/// What is wrong with the rooms that a new token is limited to, as in "must ..."; empty when it is
/// nothing.
std::string Token_roomsProblem(Store& store, const Account& account);

/// What is stored of a token.
std::string Token_secret(std::string_view token);

struct LogEntry {
    std::int64_t id = 0;
    Time time = {};
    std::optional<std::string> user = {};
    std::optional<std::string> address = {};
    std::string action;
    std::optional<std::string> target = {};
    std::optional<std::string> detail = {};
    std::string result = "ok";
};

/// Adds entries, all or none, and gives each its id.
void Store_log(Store& store, std::span<LogEntry> entries);

/// At most `limit` entries with ids below `before`, newest first. With `wanted`, only those that
/// hold this text somewhere; ASCII letters are the same in both cases.
std::vector<LogEntry> Store_readLog(Store& store, std::int64_t before, int limit,
                                    const std::string& wanted = {});

/// Removes what is older than `oldest`, and what is more than kLogMax entries.
void Store_trimLog(Store& store, Time oldest);

}  // namespace avoip::gw
