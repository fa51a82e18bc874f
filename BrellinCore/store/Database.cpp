#include "BrellinCore/store/Database.h"

#include "BrellinCore/text/Decimal.h"

#include <sqlite3.h>

#include <chrono>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

namespace brellin {

namespace {

/// The file as a URI, for what cannot be said with flags.
std::string immutableUri(const std::filesystem::path& file) {
    std::string uri = "file:";
    for (const char character : file.string()) {
        constexpr std::string_view special = "%?#";
        if (special.find(character) == std::string_view::npos) {
            uri += character;
        } else {
            constexpr std::string_view digits = "0123456789ABCDEF";
            const auto code = static_cast<unsigned char>(character);
            uri.append("%").append(1, digits[code / 16U]).append(1, digits[code % 16U]);
        }
    }
    return uri + "?immutable=1";
}

/// Whether some of what was written last stands in the log beside the file.
bool hasLog(const std::filesystem::path& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file.string() + "-wal", error);
    return !error && size > 0;
}

/// Whether the files are there by which processes share a database.
bool isShared(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::exists(file.string() + "-wal", ignored) &&
           std::filesystem::exists(file.string() + "-shm", ignored);
}

int askBusyHandler(void* handler, int calls) {
    return (*static_cast<Database::BusyHandler*>(handler))(calls) ? 1 : 0;
}

/// Pauses between two tries of a read, until it has waited long enough.
class ReadPatience {
  public:
    bool isOver() const { return std::chrono::steady_clock::now() >= end_; }
    static void pause() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

  private:
    std::chrono::steady_clock::time_point end_ =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
};

bool isBusy(int result) {
    constexpr int primaryCode = 0xFF;
    return (result & primaryCode) == SQLITE_BUSY;
}

}  // namespace

// A text ends at its first NUL, which none of the texts kept here has a use for. A value that SQLite
// refuses (a text of a gigabyte) stays NULL, and the table's constraints decide about the row.
void Database::Value::bindTo(sqlite3_stmt* statement, int position) const {
    const auto bind = [&](const auto& value) {
        using Type = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Type, const char*>) {
            ::sqlite3_bind_text(statement, position, value, -1, SQLITE_TRANSIENT);  // NOLINT
        } else if constexpr (std::is_same_v<Type, std::int64_t>) {
            ::sqlite3_bind_int64(statement, position, value);
        } else if constexpr (std::is_same_v<Type, bool>) {
            ::sqlite3_bind_int(statement, position, value ? 1 : 0);
        } else {
            ::sqlite3_bind_null(statement, position);
        }
    };
    std::visit(bind, held_);
}

void Database::Closer::operator()(sqlite3* connection) const {
    ::sqlite3_close(connection);
}

void Database::Finalizer::operator()(sqlite3_stmt* statement) const {
    ::sqlite3_finalize(statement);
}

Database::Database(const std::filesystem::path& file, Access access, BusyHandler waits)
    : waits_(std::move(waits)) {
    open(file, access);
    if (waits_) {
        ::sqlite3_busy_handler(connection_.get(), askBusyHandler, &waits_);
    }
}

void Database::open(const std::filesystem::path& file, Access access) {
    sqlite3* connection = nullptr;
    int result = access == Access::create
                     ? ::sqlite3_open(file.c_str(), &connection)
                     : ::sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr);
    connection_.reset(connection);  // a failed open leaves a connection, too
    const bool staysAlone = access == Access::inspect && !isShared(file);
    if (result == SQLITE_OK && access != Access::create && (staysAlone || !canBeRead())) {
        if (hasLog(file)) {
            throw StoreError(StoreError::Case::open,
                             "its log can be read only where its directory can be written");
        }
        result = ::sqlite3_open_v2(immutableUri(file).c_str(), &connection,
                                   SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
        connection_.reset(connection);
    }
    if (result != SQLITE_OK) {
        throw error(StoreError::Case::open);
    }
}

/// False where SQLite cannot make the file by which it shares a database with other processes.
bool Database::canBeRead() const {
    ::sqlite3_exec(connection_.get(), "SELECT 1 FROM sqlite_master;", nullptr, nullptr, nullptr);
    const int result = ::sqlite3_errcode(connection_.get());
    return result != SQLITE_CANTOPEN && result != SQLITE_READONLY;
}

Database::~Database() = default;

void Database::execute(const char* script) {
    if (::sqlite3_exec(connection_.get(), script, nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw error(StoreError::Case::step);
    }
}

void Database::write(const char* sql, Values values) {
    const Statement statement = prepare(sql, values);
    if (::sqlite3_step(statement.get()) != SQLITE_DONE) {
        throw error(StoreError::Case::step);  // made before the statement is finalized
    }
}

void Database::forEachRow(const char* sql, Values values, const std::function<void(Row&)>& use) const {
    int result = SQLITE_OK;
    const Statement statement = start(sql, values, result);
    for (; result == SQLITE_ROW; result = ::sqlite3_step(statement.get())) {
        Row row;
        for (int column = 0; column < ::sqlite3_column_count(statement.get()); ++column) {
            const auto* text =
                reinterpret_cast<const char*>(::sqlite3_column_text(statement.get(), column));
            row.push_back(text == nullptr ? std::nullopt : std::optional<std::string>(text));
        }
        use(row);
    }
    if (result != SQLITE_DONE) {
        throw error(StoreError::Case::step);
    }
}

std::vector<Database::Row> Database::rows(const char* sql, Values values) const {
    std::vector<Row> rows;
    forEachRow(sql, values, [&](Row& row) { rows.push_back(std::move(row)); });
    return rows;
}

std::optional<std::int64_t> Database::number(const char* sql, Values values) const {
    const std::vector<Row> found = rows(sql, values);
    return found.empty() || !found.front()[0] ? std::nullopt
                                              : parseDecimal<std::int64_t>(*found.front()[0]);
}

void Database::bringLogIntoFile() {
    ::sqlite3_exec(connection_.get(), "PRAGMA wal_checkpoint(TRUNCATE);", nullptr, nullptr, nullptr);
}

std::int64_t Database::changedRows() const {
    return ::sqlite3_changes64(connection_.get());
}

bool Database::hasMoved() const {
    int moved = 0;
    ::sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

StoreError Database::error(StoreError::Case kind) const {
    return {kind, ::sqlite3_errmsg(connection_.get())};
}

Database::Statement Database::prepare(const char* sql, Values values) const {
    int result = SQLITE_OK;
    Statement statement = tryToPrepare(sql, values, result);
    if (result != SQLITE_OK) {
        throw error(StoreError::Case::prepare);
    }
    return statement;
}

/// @param result SQLite's; the statement is empty unless it is SQLITE_OK
Database::Statement Database::tryToPrepare(const char* sql, Values values, int& result) const {
    sqlite3_stmt* prepared = nullptr;
    result = ::sqlite3_prepare_v2(connection_.get(), sql, -1, &prepared, nullptr);
    Statement statement(prepared);
    int position = 0;
    for (const Value& value : values) {
        if (prepared != nullptr) {
            value.bindTo(prepared, ++position);
        }
    }
    return statement;
}

/// Prepares a read and makes its first step, the only one that can meet a lock; `result` is that step's.
Database::Statement Database::start(const char* sql, Values values, int& result) const {
    const ReadPatience patience;
    for (;; ReadPatience::pause()) {
        Statement statement = tryToPrepare(sql, values, result);
        const bool isPrepared = result == SQLITE_OK;
        result = isPrepared ? ::sqlite3_step(statement.get()) : result;
        if (isBusy(result) && !patience.isOver()) {
            continue;
        }
        return isPrepared ? std::move(statement) : throw error(StoreError::Case::prepare);
    }
}

}  // namespace brellin
