#pragma once

#include "BrellinCore/store/StoreError.h"

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace brellin {

/// One SQLite connection. Each operation prepares one statement, binds, steps and finalizes it.
///
/// A read that meets a lock of another process (which opens the database for the first time, or checkpoints
/// it) is tried again for up to 50 ms. A write fails at once, unless the connection was opened with a
/// BusyHandler.
class Database {
  public:
    enum class Access {
        create,    ///< read and write; the file is created where missing
        readOnly,  ///< the file must exist; its directory need not be writable, unless there is a log
                   ///< beside it
        inspect,  ///< readOnly, and no file is created beside it, as SQLite does to share a database: where
                  ///< those files are missing, nobody is at work and the database is read alone
    };

    /// Called again and again while another process has the lock, with the number of calls before this one.
    /// It does the waiting; false gives up.
    using BusyHandler = std::function<bool(int calls)>;

    /// One value to bind. It refers to the caller's text, so it lives no longer than the call it is made
    /// for.
    class Value {
      public:
        Value(std::nullopt_t /*absent*/) {}
        Value(const std::string& text) : held_(text.c_str()) {}
        Value(const std::optional<std::string>& text) {
            if (text) {
                held_ = text->c_str();
            }
        }
        Value(std::int64_t number) : held_(number) {}
        Value(std::int32_t number) : held_(std::int64_t{number}) {}
        Value(std::same_as<bool> auto flag) : held_(flag) {}  // a text literal would turn into a plain bool

      private:
        friend class Database;
        void bindTo(sqlite3_stmt* statement, int position) const;

        std::variant<std::monostate, const char*, std::int64_t, bool> held_;
    };
    using Values = std::initializer_list<Value>;

    /// A row's columns as text, NULL as nullopt, in the statement's order.
    using Row = std::vector<std::optional<std::string>>;

    /// @throws StoreError (open)
    explicit Database(const std::filesystem::path& file, Access access = Access::create,
                      BusyHandler waits = {});
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Runs a script.
    ///
    /// @throws StoreError (step)
    void execute(const char* script);

    /// Runs one statement that returns no rows.
    ///
    /// @throws StoreError (prepare, step)
    void write(const char* sql, Values values = {});

    /// Runs one statement that returns rows, and calls `use` with each.
    ///
    /// @throws StoreError (prepare, step), also after some of the rows
    void forEachRow(const char* sql, Values values, const std::function<void(Row&)>& use) const;

    /// All rows of a statement.
    ///
    /// @throws StoreError (prepare, step)
    std::vector<Row> rows(const char* sql, Values values = {}) const;

    /// The first column of the first row as a whole number; nullopt when there is none.
    ///
    /// @throws StoreError (prepare, step)
    std::optional<std::int64_t> number(const char* sql, Values values = {}) const;

    /// Brings what the log holds into the database file, as far as nobody else stands in the way. The end
    /// of the last connection does that, too, unless the file has been moved.
    void bringLogIntoFile();

    /// How many rows the last write changed.
    std::int64_t changedRows() const;

    /// True when the file has been deleted, moved or replaced since it was opened.
    bool hasMoved() const;

  private:
    struct Closer {
        void operator()(sqlite3* connection) const;
    };
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

    void open(const std::filesystem::path& file, Access access);
    bool canBeRead() const;
    StoreError error(StoreError::Case kind) const;
    Statement prepare(const char* sql, Values values) const;
    Statement tryToPrepare(const char* sql, Values values, int& result) const;
    Statement start(const char* sql, Values values, int& result) const;

    BusyHandler waits_;
    std::unique_ptr<sqlite3, Closer> connection_;
};

}  // namespace brellin
