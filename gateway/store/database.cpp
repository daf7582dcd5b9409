#include "gateway/store/database.hpp"

namespace avoip::gw {
namespace {

// How long another process, such as "avoipgw user add", may hold the database.
constexpr int kBusy_ms = 5000;

[[noreturn]] void fail(sqlite3* handle, const std::string& what) {
    const int code = ::sqlite3_errcode(handle);
    // A write that a limit or a quota cuts short is reported as a failed write.
    const bool full = code == SQLITE_FULL || code == SQLITE_IOERR;
    throw StoreError{what + ": " + ::sqlite3_errmsg(handle), full};
}

}  // namespace

Database::Database(const std::string& path, bool readOnly) {
    const int flags = readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* handle = nullptr;
    const int code = ::sqlite3_open_v2(path.c_str(), &handle, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    handle_.reset(handle);
    if (code != SQLITE_OK) {
        fail(handle, path);
    }
    ::sqlite3_busy_timeout(handle, kBusy_ms);
}

void Database::run(const char* statements) {
    if (::sqlite3_exec(handle_.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(handle_.get(), "the database");
    }
}

Statement::Statement(Database& database, const char* text) : database_(database) {
    sqlite3_stmt* statement = nullptr;
    if (::sqlite3_prepare_v2(database.handle(), text, -1, &statement, nullptr) != SQLITE_OK) {
        fail(database.handle(), "the database");
    }
    statement_.reset(statement);
}

Statement& Statement::bind(std::string_view value) {
    ::sqlite3_bind_text(statement_.get(), ++bound_, value.data(), static_cast<int>(value.size()),
                        SQLITE_TRANSIENT);
    return *this;
}

Statement& Statement::bind(std::int64_t value) {
    ::sqlite3_bind_int64(statement_.get(), ++bound_, value);
    return *this;
}

Statement& Statement::bind(const std::optional<std::string>& value) {
    if (value) {
        return bind(std::string_view(*value));
    }
    ::sqlite3_bind_null(statement_.get(), ++bound_);
    return *this;
}

bool Statement::step() {
    const int code = ::sqlite3_step(statement_.get());
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        fail(database_.handle(), "the database");
    }
    return code == SQLITE_ROW;
}

std::string Statement::text(int column) const {
    return optionalText(column).value_or("");
}

std::optional<std::string> Statement::optionalText(int column) const {
    const auto* const text =
        reinterpret_cast<const char*>(::sqlite3_column_text(statement_.get(), column));
    if (text == nullptr) {
        return std::nullopt;
    }
    return std::string(text,
                       static_cast<std::size_t>(::sqlite3_column_bytes(statement_.get(), column)));
}

std::int64_t Statement::number(int column) const {
    return ::sqlite3_column_int64(statement_.get(), column);
}

Transaction::Transaction(Database& database) : database_(database) {
    database_.run("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!done_) {
        ::sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::commit() {
    database_.run("COMMIT");
    done_ = true;
}

}  // namespace avoip::gw
