#pragma once

#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/sessions/Liveness.h"
#include "BrellinCore/sessions/SessionRecord.h"
#include "BrellinCore/store/Observation.h"
#include "BrellinCore/store/Store.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace brellin {

/// One thing that happened, as the history has just taken it down.
struct Change {
    StoredEvent event;
    std::string sessionId;
    std::string accountPath;
    std::optional<std::string> name;  ///< what the session is, or was last, called
    std::optional<std::string> ref;   ///< the short address that goes with the name

    friend bool operator==(const Change&, const Change&) = default;
};

/// Keeps the history of sessions, one round after the other. What a round found is written by a Reconciler
/// and, in the same transaction, by this class, which adds what the reconciler has no event for:
///
/// - "died": the process of a declared session is gone, or its PID belongs to another process now
/// - "revived": declared again with a live process after that
/// - "returned": declared again after "undeclared"
/// - "left": gone from the registry again; the first time is "undeclared"
/// - "restarted": the same name at another short address
///
/// It also closes the name window of a session that leaves. To know what is news it keeps one table of its
/// own, `declared`: the sessions that the last round found.
class Chronicle {
  public:
    /// A declared session and whether its process is alive.
    struct Session {
        SessionRecord record;
        LivenessVerdict verdict;
    };

    /// What one look at the machine found.
    struct Round {
        std::vector<Session> sessions;  ///< no id stands twice
        std::vector<ClaudeAccount> accounts;
        std::set<std::string> unreadAccounts;  ///< their sessions are neither there nor gone
        bool isHomeUnread = false;             ///< so are the sessions of accounts that are not in the list
        std::int64_t now = 0;                  ///< milliseconds since the Unix epoch

        /// Whether the sessions of that account could be found.
        bool reads(const std::string& accountPath) const;
    };

    /// The store must outlive this object.
    explicit Chronicle(Store& store) : store_(store) {}

    /// The ids that the last round found, each with the path of its account.
    ///
    /// @throws StoreError the history could not be read
    std::map<std::string, std::string> declaredSessions() const;

    /// Writes one round, in one transaction: all of it, or nothing.
    ///
    /// @return what happened, in the order in which it was written
    /// @throws StoreError a read or a write failed, and nothing was written
    std::vector<Change> record(const Round& round);

  private:
    /// What is known of a session that is declared.
    struct Standing {
        bool isDead = false;      ///< "died" is the last word on its process
        std::string state;        ///< of the last verdict
        std::string accountPath;  ///< that it was declared in last

        friend bool operator==(const Standing&, const Standing&) = default;
    };
    using Standings = std::map<std::string, Standing>;

    void prepareTables();
    Standings readDeclared() const;
    std::map<std::string, CurrentName> readOpenNames() const;
    void writeDeclared(const Standings& before, const Standings& after);
    std::optional<bool> wasDeadWhenSeen(const std::string& id, const Standings& declared) const;
    void noteReturn(const SessionRecord& record, std::int64_t now);
    void noteRevival(const Session& session, bool& isDead, std::int64_t now);
    void noteRestart(const SessionRecord& record, const CurrentName& current, std::int64_t now);
    static std::set<std::string> idsThatLeft(const Round& round, const Standings& declared);
    void leave(const std::string& sessionId, std::int64_t now);
    void reconcile(const Round& round, std::set<std::string> known);
    std::map<std::string, std::string> detailsOfDeaths(const Round& round, const Standings& standings,
                                                       const std::set<std::string>& known) const;
    std::string lastSignOfLife(const std::string& sessionId) const;
    const LastObservation* lastObservationOf(const std::string& sessionId) const;
    void noteDeaths(const std::map<std::string, std::string>& details, Standings& standings,
                    std::int64_t now);
    std::vector<Change> changesSince(std::int64_t eventId) const;
    void throwReadFailure();

    Store& store_;
    std::map<std::string, LastObservation>
        lastObservations_;  ///< of the sessions that the last round found
};

}  // namespace brellin
