#include "gateway/store/store.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "gateway/store/store_state.hpp"

namespace avoip::gw {
namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr std::int64_t kSearchStep = 2000;

constexpr const char* kSchema =
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=FULL;"
    "CREATE TABLE IF NOT EXISTS document("
    " kind TEXT NOT NULL, name TEXT NOT NULL, body TEXT NOT NULL, PRIMARY KEY(kind, name))"
    " WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS account("
    " kind INTEGER NOT NULL, name TEXT NOT NULL, role TEXT NOT NULL, secret TEXT NOT NULL,"
    " PRIMARY KEY(kind, name)) WITHOUT ROWID;"
    "CREATE INDEX IF NOT EXISTS account_secret ON account(kind, secret);"
    "CREATE TABLE IF NOT EXISTS token_room("
    " token TEXT NOT NULL, room TEXT NOT NULL, PRIMARY KEY(token, room)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS log("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, time INTEGER NOT NULL, user TEXT, address TEXT,"
    " action TEXT NOT NULL, target TEXT, detail TEXT, result TEXT NOT NULL);"
    "CREATE INDEX IF NOT EXISTS log_time ON log(time);"
    "PRAGMA user_version=1;";

void makeFolder(const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw StoreError{folder + ": " + error.message()};
    }
}

/// The path of the database in a folder; both stand by then. The group may read the folder, for
/// images; users and tokens are for the own user alone.
std::string databaseIn(const std::string& folder) {
    makeFolder(folder);
    std::string path = folder + "/gateway.sqlite";
    const Descriptor made(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kOwnerOnly));
    return path;
}

bool exists(Database& database, std::string_view kind, std::string_view name) {
    return Statement(database, "SELECT 1 FROM document WHERE kind=? AND name=?")
        .bind(kind)
        .bind(name)
        .step();
}

std::int64_t countOf(Database& database, std::string_view kind) {
    Statement count(database, "SELECT count(*) FROM document WHERE kind=?");
    count.bind(kind).step();
    return count.number(0);
}

/// A pattern of LIKE that a text within others fits.
std::string likeness(const std::string& wanted) {
    std::string pattern = "%";
    for (const char letter : wanted) {
        if (letter == '%' || letter == '_' || letter == '\\') {
            pattern.push_back('\\');
        }
        pattern.push_back(letter);
    }
    return pattern + "%";
}

std::int64_t lastLogId(Store& store) {
    const std::lock_guard lock(store.reading);
    Statement last(store.reader, "SELECT max(id) FROM log");
    return last.step() ? last.number(0) : 0;
}

/// Which entries are read: ids from `from` to below `below` that fit the pattern, if there is one.
struct LogPart {
    std::int64_t from = 0;
    std::int64_t below = 0;
    int limit = 0;
    const std::string& pattern;
};

/// Adds entries, newest first, until there are as many as the limit says.
void readLogBetween(Store& store, const LogPart& part, std::vector<LogEntry>& entries) {
    const std::lock_guard lock(store.reading);
    Statement read(store.reader,
                   "SELECT id, time, user, address, action, target, detail, result FROM log"
                   " WHERE id >= ?1 AND id < ?2 AND (?3 = '' OR user LIKE ?3 ESCAPE '\\' OR"
                   " address LIKE ?3 ESCAPE '\\' OR action LIKE ?3 ESCAPE '\\' OR"
                   " target LIKE ?3 ESCAPE '\\' OR detail LIKE ?3 ESCAPE '\\' OR"
                   " result LIKE ?3 ESCAPE '\\') ORDER BY id DESC LIMIT ?4");
    read.bind(part.from).bind(part.below).bind(std::string_view(part.pattern));
    read.bind(std::int64_t{part.limit} - static_cast<std::int64_t>(entries.size()));
    while (read.step()) {
        entries.push_back({read.number(0), Time(std::chrono::milliseconds(read.number(1))),
                           read.optionalText(2), read.optionalText(3), read.text(4),
                           read.optionalText(5), read.optionalText(6), read.text(7)});
    }
}

}  // namespace

Store::Store(const std::string& path)
    : writer(path, false), reader((writer.run(kSchema), path), true) {}

void StoreClose::operator()(Store* store) const {
    delete store;
}

Descriptor Store_claim(const std::string& folder) {
    makeFolder(folder);
    Descriptor claim(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!claim.isOpen() || ::flock(claim.get(), LOCK_EX | LOCK_NB) != 0) {
        throw StoreError{folder + ": " +
                         (errno == EWOULDBLOCK ? "another avoipgw uses this data folder"
                                               : std::generic_category().message(errno))};
    }
    return claim;
}

StoreHandle Store_open(const std::string& folder) {
    return StoreHandle(new Store(databaseIn(folder)));
}

bool Store_put(Store& store, std::string_view kind, std::string_view name, std::string_view body) {
    if (body.size() > kDocumentSizeMax) {
        throw StoreError{"a " + std::string(kind) + " may have " +
                             std::to_string(kDocumentSizeMax) + " bytes at most",
                         true};
    }
    const std::lock_guard lock(store.writing);
    Transaction transaction(store.writer);
    const bool isNew = !exists(store.writer, kind, name);
    if (isNew && countOf(store.writer, kind) >= kDocumentsMax) {
        throw StoreError{"there may be " + std::to_string(kDocumentsMax) + " of these at most",
                         true};
    }
    Statement(store.writer, "INSERT OR REPLACE INTO document VALUES(?,?,?)")
        .bind(kind)
        .bind(name)
        .bind(body)
        .run();
    transaction.commit();
    return isNew;
}

bool Store_remove(Store& store, std::string_view kind, std::string_view name) {
    const std::lock_guard lock(store.writing);
    Statement(store.writer, "DELETE FROM document WHERE kind=? AND name=?")
        .bind(kind)
        .bind(name)
        .run();
    return store.writer.changes() > 0;
}

std::optional<std::string> Store_get(Store& store, std::string_view kind, std::string_view name) {
    const std::lock_guard lock(store.reading);
    Statement read(store.reader, "SELECT body FROM document WHERE kind=? AND name=?");
    return read.bind(kind).bind(name).step() ? read.optionalText(0) : std::nullopt;
}

std::vector<Document> Store_list(Store& store, std::string_view kind) {
    const std::lock_guard lock(store.reading);
    Statement read(store.reader, "SELECT name, body FROM document WHERE kind=? ORDER BY name");
    read.bind(kind);
    std::vector<Document> documents;
    while (read.step()) {
        documents.push_back({read.text(0), read.text(1)});
    }
    return documents;
}

void Store_log(Store& store, std::span<LogEntry> entries) {
    const std::lock_guard lock(store.writing);
    Transaction transaction(store.writer);
    for (LogEntry& entry : entries) {
        Statement(store.writer,
                  "INSERT INTO log(time, user, address, action, target, detail, result)"
                  " VALUES(?,?,?,?,?,?,?)")
            .bind(std::int64_t{entry.time.time_since_epoch().count()})
            .bind(entry.user)
            .bind(entry.address)
            .bind(std::string_view(entry.action))
            .bind(entry.target)
            .bind(entry.detail)
            .bind(std::string_view(entry.result))
            .run();
        entry.id = ::sqlite3_last_insert_rowid(store.writer.handle());
    }
    transaction.commit();
}

std::vector<LogEntry> Store_readLog(Store& store, std::int64_t before, int limit,
                                    const std::string& wanted) {
    std::vector<LogEntry> entries;
    const std::string pattern = wanted.empty() ? wanted : likeness(wanted);
    // A search looks at so many at a time, and lets others read in between.
    std::int64_t above = before;
    do {
        before = std::min(above, lastLogId(store) + 1);
        above = wanted.empty() ? 0 : std::max<std::int64_t>(before - kSearchStep, 0);
        readLogBetween(store, {above, before, limit, pattern}, entries);
    } while (above > 0 && static_cast<int>(entries.size()) < limit);
    return entries;
}

void Store_trimLog(Store& store, Time oldest) {
    const std::lock_guard lock(store.writing);
    Transaction transaction(store.writer);
    Statement(store.writer, "DELETE FROM log WHERE time < ?")
        .bind(std::int64_t{oldest.time_since_epoch().count()})
        .run();
    Statement(store.writer, "DELETE FROM log WHERE id <= (SELECT max(id) FROM log) - ?")
        .bind(std::int64_t{kLogMax})
        .run();
    transaction.commit();
}

}  // namespace avoip::gw
