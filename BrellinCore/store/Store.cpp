#include "BrellinCore/store/Store.h"

#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Statements.h"
#include "BrellinCore/text/Decimal.h"

#include <sqlite3.h>

#include <concepts>
#include <type_traits>
#include <utility>
#include <variant>

namespace brellin {

namespace {

/// The whole number that a column's text holds; nullopt where it holds none.
std::optional<std::int64_t> number(const std::optional<std::string>& text) {
    return text ? parseDecimal<std::int64_t>(*text) : std::nullopt;
}

}  // namespace

/// One value to bind. It refers to the caller's text, so it lives no longer than the call it is made for.
class Store::Value {
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

    // A text ends at its first NUL, which none of the texts kept here has a use for. A value that SQLite
    // refuses (a text of a gigabyte) stays NULL, and the table's constraints decide about the row.
    void bindTo(sqlite3_stmt* statement, int position) const {
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

  private:
    std::variant<std::monostate, const char*, std::int64_t, bool> held_;
};

void Store::Closer::operator()(sqlite3* connection) const {
    ::sqlite3_close(connection);
}

void Store::Finalizer::operator()(sqlite3_stmt* statement) const {
    ::sqlite3_finalize(statement);
}

Store::Store(std::filesystem::path root) : root_(std::move(root)) {
    std::filesystem::create_directories(root_);
    sqlite3* connection = nullptr;
    const int result = ::sqlite3_open((root_ / DataFiles::database).c_str(), &connection);
    db_.reset(connection);  // a failed open leaves a connection, too
    if (result != SQLITE_OK) {
        throw error(StoreError::Case::open);
    }
    for (const char* script : {Statements::journalMode, Statements::foreignKeys, Statements::schema,
                               Statements::eventsAreAppendOnly, Statements::eventsAreNotDeletable}) {
        ::sqlite3_exec(db_.get(), script, nullptr, nullptr, nullptr);
    }
}

Store::~Store() = default;

void Store::recordAccount(const ClaudeAccount& account, std::int64_t at) {
    write(Statements::recordAccount,
          {account.path, account.label, account.identityEmail, account.isDefault, at, at});
}

void Store::upsertSession(const SessionRecord& record, std::int64_t at) {
    write(Statements::upsertSession,
          {record.sessionId, record.accountPath, record.cwd, record.startedAt, at, at});
}

void Store::ensureEntity(const std::string& key, const std::string& accountPath, std::int64_t at) {
    write(Statements::ensureEntity, {key, accountPath, std::nullopt, std::nullopt, at, at});
}

void Store::closeName(const std::string& sessionId, std::int64_t at) {
    write(Statements::closeName, {at, sessionId});
}

void Store::openName(const std::string& sessionId, const std::string& name,
                     const std::optional<std::string>& ref, const std::optional<std::string>& source,
                     std::int64_t at) {
    write(Statements::openName, {sessionId, name, ref, source, at});
}

void Store::appendObservation(const std::string& sessionId, std::int32_t pid,
                              const LivenessVerdict& verdict,
                              const std::optional<std::string>& reportedStatus, std::int64_t at) {
    const std::string state(rawValue(verdict.state));
    write(Statements::appendObservation, {sessionId, at, pid, state, verdict.method, reportedStatus});
}

void Store::appendEvent(const std::string& sessionId, const std::string& kind,
                        const std::optional<std::string>& detail, const std::string& certainty,
                        std::int64_t at) {
    write(Statements::appendEvent, {sessionId, at, kind, detail, certainty});
}

void Store::rawExecForTesting(const std::string& sql) {
    if (::sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw error(StoreError::Case::step);
    }
}

std::set<std::string> Store::knownSessionIds() const {
    return queryIds(Statements::knownSessionIds, {});
}

std::vector<StoredSession> Store::sessions() const {
    std::vector<Row> rows;
    if (gatherRows(prepare(Statements::sessions), rows) != SQLITE_DONE) {
        throw error(StoreError::Case::step);
    }
    std::vector<StoredSession> sessions;
    sessions.reserve(rows.size());
    for (const Row& row : rows) {
        sessions.push_back({row[0].value_or(""), row[1].value_or(""), row[2], number(row[3]),
                            number(row[4]).value_or(0), number(row[5]).value_or(0)});
    }
    return sessions;
}

std::optional<CurrentName> Store::currentName(const std::string& sessionId) const {
    const std::vector<Row> rows = query(Statements::currentName, {sessionId});
    if (rows.empty() || !rows.front()[0]) {
        return std::nullopt;
    }
    return CurrentName{*rows.front()[0], rows.front()[1]};
}

bool Store::hasEvent(const std::string& sessionId, const std::string& kind) const {
    return !query(Statements::hasEvent, {sessionId, kind}).empty();
}

std::set<std::string> Store::sessionIdsWithoutEvent(const std::string& kind) const {
    return queryIds(Statements::sessionIdsWithoutEvent, {kind});
}

std::vector<NameWindow> Store::nameHistory(const std::string& sessionId) const {
    std::vector<NameWindow> windows;
    for (const Row& row : query(Statements::nameHistory, {sessionId})) {
        windows.push_back({row[0].value_or(""), row[1], number(row[2]).value_or(0), number(row[3])});
    }
    return windows;
}

std::vector<StoredEvent> Store::events(const std::string& sessionId) const {
    std::vector<StoredEvent> events;
    for (const Row& row : query(Statements::events, {sessionId})) {
        events.push_back(
            {number(row[0]).value_or(0), row[1].value_or(""), row[2], row[3].value_or("observed")});
    }
    return events;
}

StoreError Store::error(StoreError::Case kind) const {
    return {kind, ::sqlite3_errmsg(db_.get())};
}

Store::Statement Store::prepare(const char* sql) const {
    sqlite3_stmt* statement = nullptr;
    if (::sqlite3_prepare_v2(db_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
        throw error(StoreError::Case::prepare);
    }
    return Statement(statement);
}

void Store::write(const char* sql, std::initializer_list<Value> values) {
    const Statement statement = prepare(sql);
    int position = 0;
    for (const Value& value : values) {
        value.bindTo(statement.get(), ++position);
    }
    if (::sqlite3_step(statement.get()) != SQLITE_DONE) {
        throw error(StoreError::Case::step);  // made before the statement is finalized
    }
}

std::set<std::string> Store::queryIds(const char* sql, std::initializer_list<Value> values) const {
    std::set<std::string> ids;
    for (Row& row : query(sql, values)) {
        if (auto& id = row[0]) {
            ids.insert(std::move(*id));
        }
    }
    return ids;
}

std::vector<Store::Row> Store::query(const char* sql, std::initializer_list<Value> values) const {
    Statement statement;
    try {
        statement = prepare(sql);
    } catch (const StoreError&) {
        return {};
    }
    int position = 0;
    for (const Value& value : values) {
        value.bindTo(statement.get(), ++position);
    }
    std::vector<Row> rows;
    gatherRows(statement, rows);
    return rows;
}

int Store::gatherRows(const Statement& statement, std::vector<Row>& rows) {
    int result = ::sqlite3_step(statement.get());
    for (; result == SQLITE_ROW; result = ::sqlite3_step(statement.get())) {
        Row row;
        for (int column = 0; column < ::sqlite3_column_count(statement.get()); ++column) {
            const auto* text =
                reinterpret_cast<const char*>(::sqlite3_column_text(statement.get(), column));
            row.push_back(text == nullptr ? std::nullopt : std::optional<std::string>(text));
        }
        rows.push_back(std::move(row));
    }
    return result;
}

}  // namespace brellin
