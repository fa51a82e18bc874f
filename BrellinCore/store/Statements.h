#pragma once

/// Every SQL text of the history store.
namespace brellin::Statements {

inline constexpr const char* journalMode = "PRAGMA journal_mode=WAL;";
inline constexpr const char* foreignKeys = "PRAGMA foreign_keys=ON;";

// All times are milliseconds since the Unix epoch.
inline constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS accounts (
    path TEXT PRIMARY KEY,
    label TEXT NOT NULL,
    identityEmail TEXT,
    isDefault INTEGER NOT NULL,
    firstSeen INTEGER NOT NULL,
    lastSeen INTEGER NOT NULL
);
CREATE TABLE IF NOT EXISTS sessions (
    sessionId TEXT PRIMARY KEY,
    accountPath TEXT NOT NULL,
    cwd TEXT,
    startedAt INTEGER,
    firstSeen INTEGER NOT NULL,
    lastSeen INTEGER NOT NULL
);
-- A name is a delivery address valid within a window, not an identity; validTo is NULL while it is current.
CREATE TABLE IF NOT EXISTS names (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    sessionId TEXT NOT NULL REFERENCES sessions(sessionId),
    name TEXT NOT NULL,
    ref TEXT,
    source TEXT,
    validFrom INTEGER NOT NULL,
    validTo INTEGER
);
-- Perishable facts.
CREATE TABLE IF NOT EXISTS observations (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    sessionId TEXT NOT NULL REFERENCES sessions(sessionId),
    observedAt INTEGER NOT NULL,
    pid INTEGER,
    liveness TEXT NOT NULL,
    livenessMethod TEXT,
    reportedStatus TEXT
);
-- A correction is a new row. certainty tells what was seen from what was deduced.
CREATE TABLE IF NOT EXISTS events (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    sessionId TEXT NOT NULL REFERENCES sessions(sessionId),
    at INTEGER NOT NULL,
    kind TEXT NOT NULL,
    detail TEXT,
    certainty TEXT NOT NULL DEFAULT 'observed'
);
CREATE INDEX IF NOT EXISTS idx_events_session ON events(sessionId, at);
CREATE INDEX IF NOT EXISTS idx_obs_session ON observations(sessionId, observedAt);
CREATE INDEX IF NOT EXISTS idx_names_session ON names(sessionId, validFrom);
)sql";

inline constexpr const char* eventsAreAppendOnly = R"sql(
CREATE TRIGGER IF NOT EXISTS events_are_append_only BEFORE UPDATE ON events
BEGIN
    SELECT RAISE(ABORT, 'events e append-only: adaugă o înregistrare nouă, nu rescrie');
END;
)sql";

inline constexpr const char* eventsAreNotDeletable = R"sql(
CREATE TRIGGER IF NOT EXISTS events_are_not_deletable BEFORE DELETE ON events
BEGIN
    SELECT RAISE(ABORT, 'events e append-only: nu se șterge');
END;
)sql";

// Writes.

inline constexpr const char* recordAccount =
    R"sql(INSERT INTO accounts(path,label,identityEmail,isDefault,firstSeen,lastSeen)
VALUES(?,?,?,?,?,?)
ON CONFLICT(path) DO UPDATE SET
    label=excluded.label,
    identityEmail=COALESCE(excluded.identityEmail, accounts.identityEmail),
    isDefault=excluded.isDefault,
    lastSeen=excluded.lastSeen;)sql";

inline constexpr const char* upsertSession =
    R"sql(INSERT INTO sessions(sessionId,accountPath,cwd,startedAt,firstSeen,lastSeen)
VALUES(?,?,?,?,?,?)
ON CONFLICT(sessionId) DO UPDATE SET
    accountPath=excluded.accountPath,
    cwd=COALESCE(excluded.cwd, sessions.cwd),
    lastSeen=excluded.lastSeen;)sql";

inline constexpr const char* ensureEntity =
    R"sql(INSERT INTO sessions(sessionId,accountPath,cwd,startedAt,firstSeen,lastSeen)
VALUES(?,?,?,?,?,?)
ON CONFLICT(sessionId) DO UPDATE SET lastSeen=excluded.lastSeen;)sql";

inline constexpr const char* closeName =
    "UPDATE names SET validTo=? WHERE sessionId=? AND validTo IS NULL;";

inline constexpr const char* openName =
    "INSERT INTO names(sessionId,name,ref,source,validFrom) VALUES(?,?,?,?,?);";

inline constexpr const char* appendObservation =
    R"sql(INSERT INTO observations(sessionId,observedAt,pid,liveness,livenessMethod,reportedStatus)
VALUES(?,?,?,?,?,?);)sql";

inline constexpr const char* appendEvent =
    "INSERT INTO events(sessionId,at,kind,detail,certainty) VALUES(?,?,?,?,?);";

// Reads.

inline constexpr const char* knownSessionIds = "SELECT sessionId FROM sessions;";

inline constexpr const char* sessions =
    R"sql(SELECT sessionId,accountPath,cwd,startedAt,firstSeen,lastSeen FROM sessions
ORDER BY firstSeen, sessionId;)sql";

inline constexpr const char* currentName = R"sql(SELECT name, ref FROM names
WHERE sessionId = ? AND validTo IS NULL
ORDER BY validFrom DESC LIMIT 1;)sql";

inline constexpr const char* hasEvent = "SELECT 1 FROM events WHERE sessionId=? AND kind=? LIMIT 1;";

inline constexpr const char* sessionIdsWithoutEvent = R"sql(SELECT sessionId FROM sessions
WHERE NOT EXISTS (SELECT 1 FROM events WHERE events.sessionId = sessions.sessionId AND kind = ?);)sql";

inline constexpr const char* nameHistory =
    "SELECT name,ref,validFrom,validTo FROM names WHERE sessionId=? ORDER BY validFrom;";

inline constexpr const char* events =
    "SELECT at,kind,detail,certainty FROM events WHERE sessionId=? ORDER BY at;";

}  // namespace brellin::Statements
