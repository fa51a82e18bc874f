#pragma once

#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/sessions/Liveness.h"
#include "BrellinCore/sessions/SessionRecord.h"
#include "BrellinCore/store/Database.h"
#include "BrellinCore/store/StoreError.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace brellin {

/// One row of the event log.
struct StoredEvent {
    std::int64_t at = 0;  ///< milliseconds since the Unix epoch
    std::string kind;
    std::optional<std::string> detail;
    std::string certainty;  ///< "observed" or "inferred"

    friend bool operator==(const StoredEvent&, const StoredEvent&) = default;
};

/// One entry of a session's name history.
struct NameWindow {
    std::string name;
    std::optional<std::string> ref;
    std::int64_t from = 0;           ///< milliseconds since the Unix epoch
    std::optional<std::int64_t> to;  ///< absent while the name is current

    friend bool operator==(const NameWindow&, const NameWindow&) = default;
};

/// The name that a session answers to according to the history.
struct CurrentName {
    std::string name;
    std::optional<std::string> ref;

    friend bool operator==(const CurrentName&, const CurrentName&) = default;
};

/// The history: one SQLite database that remembers accounts, sessions, the names they answered to,
/// observations, and events that can only be added.
///
/// A store owns one connection, closed with it. It never reads a clock: every `at` comes from the caller,
/// in milliseconds since the Unix epoch. Each operation is one statement, prepared, stepped and finalized
/// at once, in SQLite's own autocommit unless the caller began a transaction. A write does not wait for
/// another process's lock, unless the caller says so.
///
/// Writes throw StoreError and leave the store usable. Reads do not throw: one that fails looks like one
/// that found nothing.
class Store {
  public:
    /// Opens the database in `root`, creating both where missing.
    ///
    /// @throws std::filesystem::filesystem_error when the directory cannot be created
    /// @throws StoreError (open) when the database cannot be opened. Trouble with its schema is no error
    ///         here: later writes fail and later reads find nothing
    ///
    /// @param waits what to do while another process has a lock; without it a write fails at once
    explicit Store(std::filesystem::path root, Database::BusyHandler waits = {});
    const std::filesystem::path& root() const { return root_; }

    /// Adds or refreshes an account. A known e-mail address is never cleared by a record without one.
    void recordAccount(const ClaudeAccount& account, std::int64_t at);

    /// Adds or refreshes a session. Its first start time stays; a known directory is never cleared.
    void upsertSession(const SessionRecord& record, std::int64_t at);

    /// Adds a row that is no session (a watched target) or notes that it was seen again.
    void ensureEntity(const std::string& key, const std::string& accountPath, std::int64_t at);

    /// Ends every open name window of the session.
    void closeName(const std::string& sessionId, std::int64_t at);

    /// Starts a name window.
    void openName(const std::string& sessionId, const std::string& name,
                  const std::optional<std::string>& ref, const std::optional<std::string>& source,
                  std::int64_t at);

    /// Adds an observation. The verdict's diagnostic is not kept.
    void appendObservation(const std::string& sessionId, std::int32_t pid, const LivenessVerdict& verdict,
                           const std::optional<std::string>& reportedStatus, std::int64_t at);

    /// Adds an event; the session must have a row.
    void appendEvent(const std::string& sessionId, const std::string& kind,
                     const std::optional<std::string>& detail, const std::string& certainty,
                     std::int64_t at);

    /// Runs a script as it stands; every failure is a StoreError (step).
    void rawExecForTesting(const std::string& sql);

    /// Every id that has a row, those of watched targets included.
    std::set<std::string> knownSessionIds() const;

    /// The open name window; of several the one that began last.
    std::optional<CurrentName> currentName(const std::string& sessionId) const;

    bool hasEvent(const std::string& sessionId, const std::string& kind) const;

    /// Oldest window first.
    std::vector<NameWindow> nameHistory(const std::string& sessionId) const;

    /// Oldest event first.
    std::vector<StoredEvent> events(const std::string& sessionId) const;

    /// The connection, for what is written together with this store's operations.
    Database& database() { return database_; }

    /// What went wrong with a read since this was asked last; nullopt when nothing did. For callers to whom
    /// "found nothing" and "could not look" are two things.
    std::optional<StoreError> takeReadFailure();

  private:
    std::vector<Database::Row> query(const char* sql, Database::Values values) const;

    std::filesystem::path root_;
    Database database_;
    mutable std::optional<StoreError> readFailure_;
};

}  // namespace brellin
