#include "BrellinCore/store/Store.h"

#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Statements.h"
#include "BrellinCore/text/Decimal.h"

#include <utility>

namespace brellin {

namespace {

/// The whole number that a column's text holds; nullopt where it holds none.
std::optional<std::int64_t> number(const std::optional<std::string>& text) {
    return text ? parseDecimal<std::int64_t>(*text) : std::nullopt;
}

/// Makes sure of the directory first.
std::filesystem::path databaseIn(const std::filesystem::path& root) {
    std::filesystem::create_directories(root);
    return root / DataFiles::database;
}

}  // namespace

Store::Store(std::filesystem::path root, Database::BusyHandler waits)
    : root_(std::move(root)), database_(databaseIn(root_), Database::Access::create, std::move(waits)) {
    for (const char* script : {Statements::journalMode, Statements::foreignKeys, Statements::schema,
                               Statements::eventsAreAppendOnly, Statements::eventsAreNotDeletable}) {
        try {
            database_.execute(script);
        } catch (const StoreError&) {
            continue;  // later writes fail, and later reads find nothing
        }
    }
}

void Store::recordAccount(const ClaudeAccount& account, std::int64_t at) {
    database_.write(Statements::recordAccount,
                    {account.path, account.label, account.identityEmail, account.isDefault, at, at});
}

void Store::upsertSession(const SessionRecord& record, std::int64_t at) {
    database_.write(Statements::upsertSession,
                    {record.sessionId, record.accountPath, record.cwd, record.startedAt, at, at});
}

void Store::ensureEntity(const std::string& key, const std::string& accountPath, std::int64_t at) {
    database_.write(Statements::ensureEntity, {key, accountPath, std::nullopt, std::nullopt, at, at});
}

void Store::closeName(const std::string& sessionId, std::int64_t at) {
    database_.write(Statements::closeName, {at, sessionId});
}

void Store::openName(const std::string& sessionId, const std::string& name,
                     const std::optional<std::string>& ref, const std::optional<std::string>& source,
                     std::int64_t at) {
    database_.write(Statements::openName, {sessionId, name, ref, source, at});
}

void Store::appendObservation(const std::string& sessionId, std::int32_t pid,
                              const LivenessVerdict& verdict,
                              const std::optional<std::string>& reportedStatus, std::int64_t at) {
    const std::string state(rawValue(verdict.state));
    database_.write(Statements::appendObservation,
                    {sessionId, at, pid, state, verdict.method, reportedStatus});
}

void Store::appendEvent(const std::string& sessionId, const std::string& kind,
                        const std::optional<std::string>& detail, const std::string& certainty,
                        std::int64_t at) {
    database_.write(Statements::appendEvent, {sessionId, at, kind, detail, certainty});
}

void Store::rawExecForTesting(const std::string& sql) {
    database_.execute(sql.c_str());
}

std::set<std::string> Store::knownSessionIds() const {
    std::set<std::string> ids;
    for (Database::Row& row : query(Statements::knownSessionIds, {})) {
        if (auto& id = row[0]) {
            ids.insert(std::move(*id));
        }
    }
    return ids;
}

std::optional<CurrentName> Store::currentName(const std::string& sessionId) const {
    const std::vector<Database::Row> rows = query(Statements::currentName, {sessionId});
    if (rows.empty() || !rows.front()[0]) {
        return std::nullopt;
    }
    return CurrentName{*rows.front()[0], rows.front()[1]};
}

bool Store::hasEvent(const std::string& sessionId, const std::string& kind) const {
    return !query(Statements::hasEvent, {sessionId, kind}).empty();
}

std::vector<NameWindow> Store::nameHistory(const std::string& sessionId) const {
    std::vector<NameWindow> windows;
    for (const Database::Row& row : query(Statements::nameHistory, {sessionId})) {
        windows.push_back({row[0].value_or(""), row[1], number(row[2]).value_or(0), number(row[3])});
    }
    return windows;
}

std::vector<StoredEvent> Store::events(const std::string& sessionId) const {
    std::vector<StoredEvent> events;
    for (const Database::Row& row : query(Statements::events, {sessionId})) {
        events.push_back(
            {number(row[0]).value_or(0), row[1].value_or(""), row[2], row[3].value_or("observed")});
    }
    return events;
}

std::optional<StoreError> Store::takeReadFailure() {
    return std::exchange(readFailure_, std::nullopt);
}

std::vector<Database::Row> Store::query(const char* sql, Database::Values values) const {
    std::vector<Database::Row> rows;
    try {
        database_.forEachRow(sql, values, [&](Database::Row& row) { rows.push_back(std::move(row)); });
    } catch (const StoreError& failure) {
        readFailure_ = failure;
    }
    return rows;
}

}  // namespace brellin
