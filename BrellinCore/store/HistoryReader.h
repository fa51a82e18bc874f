#pragma once

#include "BrellinCore/store/Database.h"
#include "BrellinCore/store/Store.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// Reads the history for people: never creates or changes it, works in a directory that must not be
/// written, and tells an unreadable history from an empty one.
class HistoryReader {
  public:
    /// One session, or watched target, that was ever seen.
    struct Entry {
        std::string sessionId;    ///< or a target's key
        std::string accountPath;  ///< last seen under; for a target "watch:" and its description
        std::optional<std::string> accountLabel;  ///< absent for a target
        std::optional<std::string> cwd;
        std::optional<std::int64_t> startedAt;  ///< as first declared; absent for a target
        std::int64_t firstSeen = 0;             ///< milliseconds since the Unix epoch, as all times here
        std::int64_t lastSeen = 0;
        std::optional<std::string> name;  ///< the last one; for a target its holder's command
        std::optional<std::string> ref;   ///< the short address that goes with it
        std::string state;                ///< at the last look: "alive", "stale", "unknown", or "gone"
        std::int64_t eventCount = 0;

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    /// One look at a process.
    struct Look {
        std::int64_t at = 0;
        std::int64_t pid = 0;  ///< 0 where a target had no holder
        std::string state;
        std::string method;
        std::optional<std::string> reportedStatus;

        friend bool operator==(const Look&, const Look&) = default;
    };

    /// How large the history is, and how old.
    struct Extent {
        std::int64_t sessions = 0;  ///< rows of each table
        std::int64_t names = 0;
        std::int64_t observations = 0;
        std::int64_t events = 0;
        std::optional<std::int64_t> oldestObservation;
        std::optional<std::int64_t> lastRound;       ///< of a recorder
        std::optional<std::int64_t> lastWatchRound;  ///< that found a watched target
    };

    /// What to show; an absent part leaves nothing out.
    struct Filter {
        std::optional<std::int64_t> since;
        std::optional<std::int64_t> until;
        std::optional<std::string> account;  ///< its path or its label
        std::optional<std::string> kind;     ///< of an event
        std::optional<std::int64_t> limit;   ///< the latest so many

        friend bool operator==(const Filter&, const Filter&) = default;
    };

    /// @throws StoreError (open) the file cannot be opened, or is no history; the message says which
    explicit HistoryReader(const std::filesystem::path& database,
                           Database::Access access = Database::Access::readOnly);

    // All of the following throw StoreError when the history cannot be read.

    /// The entries that were seen within the time, in the account, and have such an event; the one seen
    /// last first.
    std::vector<Entry> entries(const Filter& filter) const;

    /// The entry with that id.
    std::optional<Entry> entry(const std::string& id) const;

    /// The ids that a word stands for: the id itself, or else every id that begins with it or had, at any
    /// time, that name or short address.
    std::vector<std::string> idsOf(const std::string& word) const;

    // In the order in which they were written; with a limit the last ones.

    std::vector<StoredEvent> events(const std::string& id, const Filter& filter = {}) const;
    std::vector<NameWindow> names(const std::string& id, const Filter& filter = {}) const;
    std::vector<Look> looks(const std::string& id, const Filter& filter = {}) const;

    Extent extent() const;

    /// What SQLite finds wrong with the file, the first few things; empty when it is sound. This reads all
    /// of it.
    std::vector<std::string> damages() const;

  private:
    void requireTables() const;
    std::string selectEntry() const;

    Database database_;
};

}  // namespace brellin
