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

inline constexpr const char* currentName = R"sql(SELECT name, ref FROM names
WHERE sessionId = ? AND validTo IS NULL
ORDER BY validFrom DESC LIMIT 1;)sql";

inline constexpr const char* hasEvent = "SELECT 1 FROM events WHERE sessionId=? AND kind=? LIMIT 1;";

inline constexpr const char* nameHistory =
    "SELECT name,ref,validFrom,validTo FROM names WHERE sessionId=? ORDER BY validFrom;";

inline constexpr const char* events =
    "SELECT at,kind,detail,certainty FROM events WHERE sessionId=? ORDER BY at;";

// The chronicle.

// The sessions that the last round found, whether "died" is the last that was said of their process, and
// the state of their last verdict.
inline constexpr const char* chronicleTables = R"sql(
CREATE TABLE IF NOT EXISTS declared (
    sessionId TEXT PRIMARY KEY,
    isDead INTEGER NOT NULL,
    state TEXT NOT NULL
) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS idx_names_open ON names(sessionId) WHERE validTo IS NULL;
CREATE INDEX IF NOT EXISTS idx_names_name ON names(name);
CREATE INDEX IF NOT EXISTS idx_names_ref ON names(ref);
)sql";

inline constexpr const char* hasChronicleTables =
    "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'declared';";

// A history from before there was that table: what never vanished is declared, and the names of what did
// end when it was seen last. Accounts are absolute paths; the labels of watched targets are not.
inline constexpr const char* adoptSessions = R"sql(
INSERT INTO declared SELECT sessionId, 0, 'unknown' FROM sessions
WHERE accountPath LIKE '/%' AND NOT EXISTS
    (SELECT 1 FROM events WHERE events.sessionId = sessions.sessionId AND kind = 'undeclared');
UPDATE names SET validTo = (SELECT lastSeen FROM sessions WHERE sessions.sessionId = names.sessionId)
WHERE validTo IS NULL AND sessionId NOT IN (SELECT sessionId FROM declared) AND sessionId IN
    (SELECT sessionId FROM sessions WHERE accountPath LIKE '/%');
)sql";

// A cross join keeps SQLite from walking through all sessions of the past.
inline constexpr const char* declared =
    "SELECT sessionId, isDead, state, accountPath FROM declared CROSS JOIN sessions USING (sessionId);";
inline constexpr const char* declare =
    "INSERT OR REPLACE INTO declared(sessionId,isDead,state) VALUES(?,?,?);";
inline constexpr const char* undeclare = "DELETE FROM declared WHERE sessionId=?;";

inline constexpr const char* sessionRow = "SELECT accountPath, lastSeen FROM sessions WHERE sessionId=?;";

inline constexpr const char* lastWordOnProcess = R"sql(SELECT kind FROM events
WHERE sessionId=? AND kind IN ('died', 'revived') ORDER BY id DESC LIMIT 1;)sql";

inline constexpr const char* lastName =
    "SELECT name, ref FROM names WHERE sessionId=? ORDER BY id DESC LIMIT 1;";

inline constexpr const char* completeName =
    "UPDATE names SET ref=? WHERE sessionId=? AND validTo IS NULL AND ref IS NULL;";

inline constexpr const char* lastEventId = "SELECT max(id) FROM events;";

inline constexpr const char* eventsAfter = R"sql(
SELECT at, kind, detail, certainty, sessionId, accountPath,
    (SELECT name FROM names WHERE names.sessionId = events.sessionId ORDER BY id DESC LIMIT 1),
    (SELECT ref FROM names WHERE names.sessionId = events.sessionId ORDER BY id DESC LIMIT 1)
FROM events JOIN sessions USING (sessionId) WHERE events.id > ? ORDER BY events.id;)sql";

// In this order the last window of a session comes last.
inline constexpr const char* openNames =
    "SELECT sessionId, name, ref FROM names WHERE validTo IS NULL ORDER BY validFrom;";

inline constexpr const char* lastObservation =
    R"sql(SELECT observedAt, pid, liveness, livenessMethod, reportedStatus FROM observations
WHERE sessionId=? AND observedAt<=? ORDER BY observedAt DESC, id DESC LIMIT 1;)sql";

inline constexpr const char* lastObservations =
    R"sql(SELECT observedAt, pid, liveness, livenessMethod, reportedStatus, declared.sessionId
FROM declared JOIN observations ON observations.id = (SELECT id FROM observations
    WHERE sessionId=declared.sessionId AND observedAt<=? ORDER BY observedAt DESC, id DESC LIMIT 1);)sql";

// The history for people.

inline constexpr const char* tableNames = "SELECT name FROM sqlite_master WHERE type = 'table';";

// What the last round said; a history from before there was the table `declared` has only events and
// observations.
inline constexpr const char* declaredState =
    "(SELECT coalesce((SELECT state FROM declared WHERE declared.sessionId = s.sessionId), 'gone'))";
inline constexpr const char* formerState = R"sql(
    CASE WHEN (SELECT kind FROM events WHERE events.sessionId = s.sessionId
            AND kind IN ('undeclared', 'left', 'returned') ORDER BY id DESC LIMIT 1) IN ('undeclared', 'left')
    THEN 'gone' ELSE
        (SELECT liveness FROM observations WHERE observations.sessionId = s.sessionId
            ORDER BY observedAt DESC, id DESC LIMIT 1)
    END)sql";

// The state of a session goes in where {} stands; a watched target has none in `declared`.
inline constexpr const char* historyEntry = R"sql(
SELECT s.sessionId, s.accountPath, a.label, s.cwd, s.startedAt, s.firstSeen, s.lastSeen, n.name, n.ref,
    CASE WHEN s.accountPath LIKE '/%' THEN {} ELSE
        (SELECT liveness FROM observations WHERE observations.sessionId = s.sessionId
            ORDER BY observedAt DESC, id DESC LIMIT 1)
    END,
    (SELECT count(*) FROM events WHERE events.sessionId = s.sessionId)
FROM sessions AS s
LEFT JOIN accounts AS a ON a.path = s.accountPath
LEFT JOIN names AS n ON n.id = (SELECT max(id) FROM names WHERE names.sessionId = s.sessionId)
)sql";

inline constexpr const char* whereIdIs = "WHERE s.sessionId = ?;";

inline constexpr const char* whereFilterFits = R"sql(
WHERE (?1 IS NULL OR s.lastSeen >= ?1) AND (?2 IS NULL OR s.firstSeen <= ?2)
    AND (?3 IS NULL OR s.accountPath = ?3 OR a.label = ?3)
    AND (?4 IS NULL OR EXISTS (SELECT 1 FROM events WHERE events.sessionId = s.sessionId AND kind = ?4
        AND (?1 IS NULL OR at >= ?1) AND (?2 IS NULL OR at <= ?2)))
ORDER BY s.lastSeen DESC, s.firstSeen DESC, s.sessionId LIMIT ?5;)sql";

// Nothing sorts behind the last of Unicode's characters, so the range is that of all ids which begin with
// the word.
inline constexpr const char* idsOfWord = R"sql(
SELECT sessionId FROM sessions WHERE sessionId BETWEEN ?1 AND ?1 || char(1114111)
UNION SELECT sessionId FROM names WHERE name = ?1
UNION SELECT sessionId FROM names WHERE ref = ?1;)sql";

inline constexpr const char* historyEvents = R"sql(
SELECT at, kind, detail, certainty FROM events WHERE sessionId = ?1
    AND (?2 IS NULL OR at >= ?2) AND (?3 IS NULL OR at <= ?3) AND (?4 IS NULL OR kind = ?4)
ORDER BY id DESC LIMIT ?5;)sql";

inline constexpr const char* historyNames = R"sql(
SELECT name, ref, validFrom, validTo FROM names WHERE sessionId = ?1
    AND (?2 IS NULL OR validTo IS NULL OR validTo >= ?2) AND (?3 IS NULL OR validFrom <= ?3)
ORDER BY id DESC LIMIT ?4;)sql";

inline constexpr const char* historyLooks = R"sql(
SELECT observedAt, pid, liveness, livenessMethod, reportedStatus FROM observations WHERE sessionId = ?1
    AND (?2 IS NULL OR observedAt >= ?2) AND (?3 IS NULL OR observedAt <= ?3)
ORDER BY id DESC LIMIT ?4;)sql";

inline constexpr const char* historyExtent = R"sql(
SELECT (SELECT count(*) FROM sessions), (SELECT count(*) FROM names), (SELECT count(*) FROM observations),
    (SELECT count(*) FROM events), (SELECT min(observedAt) FROM observations),
    (SELECT max(lastSeen) FROM accounts),
    (SELECT max(lastSeen) FROM sessions WHERE accountPath LIKE 'watch:%');)sql";

inline constexpr const char* quickCheck = "PRAGMA quick_check(3);";

// Pruning. Old observations have low ids, so each batch finds its rows at the beginning.

inline constexpr const char* deleteOldObservations = R"sql(DELETE FROM observations WHERE id IN
    (SELECT id FROM observations WHERE observedAt < ? ORDER BY id LIMIT 20000);)sql";

inline constexpr const char* freePages = "PRAGMA freelist_count;";
inline constexpr const char* pageSize = "PRAGMA page_size;";
inline constexpr const char* pageCount = "PRAGMA page_count;";
// The file shrinks when the log comes into it.
inline constexpr const char* vacuum = "VACUUM; PRAGMA wal_checkpoint(TRUNCATE);";

}  // namespace brellin::Statements
