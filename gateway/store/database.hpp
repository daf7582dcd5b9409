// SQLite, wrapped so that handles have owners and failures cannot be overlooked.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace avoip::gw {

/// Thrown when the database cannot do what it was told; nothing of it is done then.
struct StoreError {
    std::string text;
    /// Whether there is no room: the disk is full, or the store's own bound is reached.
    bool full = false;
};

/// One connection. Not for two threads at once.
class Database {
  public:
    /// Opens the file, and makes it where it is missing unless `readOnly`. Throws StoreError.
    Database(const std::string& path, bool readOnly);

    /// Runs statements that give no rows. Throws StoreError.
    void run(const char* statements);

    [[nodiscard]] sqlite3* handle() const { return handle_.get(); }
    /// How many rows the last statement changed.
    [[nodiscard]] int changes() const { return ::sqlite3_changes(handle_.get()); }

  private:
    struct Close {
        void operator()(sqlite3* handle) const { ::sqlite3_close(handle); }
    };
    std::unique_ptr<sqlite3, Close> handle_;
};

/// One statement with its values, bound in the order of the calls.
class Statement {
  public:
    Statement(Database& database, const char* text);

    Statement& bind(std::string_view value);
    Statement& bind(std::int64_t value);
    Statement& bind(const std::optional<std::string>& value);

    /// The next row, if there is one. Throws StoreError.
    bool step();
    /// Runs a statement that gives no rows.
    void run() {
        while (step()) {
        }
    }

    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] std::optional<std::string> optionalText(int column) const;
    [[nodiscard]] std::int64_t number(int column) const;

  private:
    struct Finish {
        void operator()(sqlite3_stmt* statement) const { ::sqlite3_finalize(statement); }
    };
    Database& database_;
    std::unique_ptr<sqlite3_stmt, Finish> statement_;
    int bound_ = 0;
};

/// What happens until commit() happens wholly or, when the object goes without it, not at all.
class Transaction {
  public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit();

  private:
    Database& database_;
    bool done_ = false;
};

}  // namespace avoip::gw
