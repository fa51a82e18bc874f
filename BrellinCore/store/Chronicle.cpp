#include "BrellinCore/store/Chronicle.h"

#include "BrellinCore/store/Reconciler.h"
#include "BrellinCore/store/Statements.h"
#include "BrellinCore/store/Transaction.h"
#include "BrellinCore/text/DateText.h"
#include "BrellinCore/text/Decimal.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace brellin {

namespace {

constexpr const char* observed = "observed";
constexpr const char* undeclared = "undeclared";

Observation observationOf(const SessionRecord& record, const LivenessVerdict& verdict) {
    return {record.pid, std::string(rawValue(verdict.state)), verdict.method, record.reportedStatus};
}

}  // namespace

bool Chronicle::Round::reads(const std::string& accountPath) const {
    const bool isListed = std::ranges::find(accounts, accountPath, &ClaudeAccount::path) != accounts.end();
    return !unreadAccounts.contains(accountPath) && (isListed || !isHomeUnread);
}

std::map<std::string, std::string> Chronicle::declaredSessions() const {
    std::map<std::string, std::string> accounts;
    for (auto& [id, standing] : readDeclared()) {
        accounts.emplace(id, standing.accountPath);
    }
    return accounts;
}

std::vector<Change> Chronicle::record(const Round& round) {
    store_.takeReadFailure();  // of an earlier round
    Transaction transaction(store_.database());
    prepareTables();
    const std::int64_t lastEvent = store_.database().number(Statements::lastEventId).value_or(0);
    const Standings before = readDeclared();
    const std::map<std::string, CurrentName> names = readOpenNames();
    lastObservations_ = LastObservation::ofDeclared(store_.database(), round.now);
    const std::set<std::string> left = idsThatLeft(round, before);
    for (const std::string& id : left) {
        leave(id, round.now);
    }
    Standings after;
    std::set<std::string> known = left;
    for (const Session& session : round.sessions) {
        const std::string& id = session.record.sessionId;
        const auto wasDead = wasDeadWhenSeen(id, before);
        after[id] = {wasDead.value_or(false), std::string(rawValue(session.verdict.state)),
                     session.record.accountPath};
        if (!wasDead) {
            continue;
        }
        known.insert(id);
        if (!before.contains(id)) {
            noteReturn(session.record, round.now);
        }
        noteRevival(session, after[id].isDead, round.now);
        if (const auto name = names.find(id); name != names.end()) {
            noteRestart(session.record, name->second, round.now);
        }
    }
    const auto deaths = detailsOfDeaths(round, after, known);
    reconcile(round, std::move(known));
    noteDeaths(deaths, after, round.now);
    writeDeclared(before, after);
    std::vector<Change> changes = changesSince(lastEvent);
    throwReadFailure();
    transaction.commit();
    return changes;
}

void Chronicle::prepareTables() {
    Database& database = store_.database();
    if (!database.number(Statements::hasChronicleTables)) {
        database.execute(Statements::chronicleTables);
        database.execute(Statements::adoptSessions);
    }
}

Chronicle::Standings Chronicle::readDeclared() const {
    Standings declared;
    if (store_.database().number(Statements::hasChronicleTables)) {
        store_.database().forEachRow(Statements::declared, {}, [&](Database::Row& row) {
            declared[row[0].value_or("")] = {row[1] == "1", std::move(row[2]).value_or(""),
                                             std::move(row[3]).value_or("")};
        });
    }
    return declared;
}

std::map<std::string, CurrentName> Chronicle::readOpenNames() const {
    std::map<std::string, CurrentName> names;
    store_.database().forEachRow(Statements::openNames, {}, [&](Database::Row& row) {
        names[row[0].value_or("")] = {row[1].value_or(""), std::move(row[2])};
    });
    return names;
}

/// Writes what has changed. Sessions that could not be read this time stay.
void Chronicle::writeDeclared(const Standings& before, const Standings& after) {
    for (const auto& [id, standing] : after) {
        const auto old = before.find(id);
        if (old == before.end() || old->second != standing) {
            store_.database().write(Statements::declare, {id, standing.isDead, standing.state});
        }
    }
}

/// Whether a session that was seen before was dead then; nullopt when it never was seen.
std::optional<bool> Chronicle::wasDeadWhenSeen(const std::string& id, const Standings& declared) const {
    const auto entry = declared.find(id);
    if (entry != declared.end()) {
        return entry->second.isDead;
    }
    const Database& database = store_.database();
    if (database.rows(Statements::sessionRow, {id}).empty()) {
        return std::nullopt;
    }
    const auto last = database.rows(Statements::lastWordOnProcess, {id});
    return !last.empty() && last.front()[0] == "died";
}

void Chronicle::noteReturn(const SessionRecord& record, std::int64_t now) {
    if (!store_.hasEvent(record.sessionId, undeclared)) {
        return;
    }
    std::string detail = "declared again · account " + record.accountPath;
    // The window ended when the session left, so no other event says that the address is another one.
    const auto last = store_.database().rows(Statements::lastName, {record.sessionId});
    if (!last.empty() && record.name &&
        (last.front()[0] != record.name || last.front()[1] != record.peerRef())) {
        detail +=
            fmt::format(" · was {} [{}]", last.front()[0].value_or(""), last.front()[1].value_or("?"));
    }
    store_.appendEvent(record.sessionId, "returned", detail, observed, now);
}

void Chronicle::noteRevival(const Session& session, bool& isDead, std::int64_t now) {
    if (!isDead || session.verdict.state != Liveness::alive) {
        return;
    }
    const SessionRecord& record = session.record;
    store_.appendEvent(record.sessionId, "revived", fmt::format("runs again with PID {}", record.pid),
                       observed, now);
    isDead = false;
}

void Chronicle::noteRestart(const SessionRecord& record, const CurrentName& current, std::int64_t now) {
    const auto ref = record.peerRef();
    if (current.name != record.name || !ref || current.ref == ref) {
        return;
    }
    if (!current.ref) {
        // The session had no socket yet when it was seen first; this is its first address, not another one.
        store_.database().write(Statements::completeName, {ref, record.sessionId});
        return;
    }
    store_.closeName(record.sessionId, now);
    store_.appendEvent(
        record.sessionId, "restarted",
        fmt::format("{0} [{1}] → {0} [{2}] · a new process; the old address no longer delivers",
                    current.name, *current.ref, *ref),
        "inferred", now);
    store_.openName(record.sessionId, current.name, ref, record.nameSource, now);
}

std::set<std::string> Chronicle::idsThatLeft(const Round& round, const Standings& declared) {
    std::set<std::string> left;
    for (const auto& [id, standing] : declared) {
        if (round.reads(standing.accountPath)) {
            left.insert(id);
        }
    }
    for (const Session& session : round.sessions) {
        left.erase(session.record.sessionId);
    }
    return left;
}

void Chronicle::leave(const std::string& sessionId, std::int64_t now) {
    store_.database().write(Statements::undeclare, {sessionId});
    store_.closeName(sessionId, now);
    // The reconciler tells the first time.
    if (store_.hasEvent(sessionId, undeclared)) {
        store_.appendEvent(sessionId, "left", "no longer has a registry entry", observed, now);
    }
}

void Chronicle::reconcile(const Round& round, std::set<std::string> known) {
    std::vector<SessionRecord> records;
    std::map<std::string, const LivenessVerdict*> verdicts;
    for (const Session& session : round.sessions) {
        records.push_back(session.record);
        verdicts.emplace(session.record.sessionId, &session.verdict);
    }
    Reconciler reconciler(
        store_, {.verdict = [&](const SessionRecord& record) { return *verdicts.at(record.sessionId); },
                 .isWorthObserving =
                     [&](const SessionRecord& record, const LivenessVerdict& verdict) {
                         const LastObservation* last = lastObservationOf(record.sessionId);
                         return last == nullptr ||
                                last->isOutdatedBy(observationOf(record, verdict), round.now);
                     },
                 .known = std::move(known)});
    reconciler.reconcile(records, round.accounts, round.now);
}

/// Says of each session whose process is found dead for the first time what its event will say. The row of
/// the session still tells when it was seen last.
std::map<std::string, std::string> Chronicle::detailsOfDeaths(const Round& round,
                                                              const Standings& standings,
                                                              const std::set<std::string>& known) const {
    std::map<std::string, std::string> details;
    for (const auto& [record, verdict] : round.sessions) {
        if (verdict.state != Liveness::stale || standings.at(record.sessionId).isDead) {
            continue;
        }
        std::string detail = verdict.diagnostic.value_or("");
        if (known.contains(record.sessionId)) {
            detail += lastSignOfLife(record.sessionId);
        }
        details.emplace(record.sessionId, std::move(detail));
    }
    return details;
}

/// When the session was seen last, if it was alive then.
std::string Chronicle::lastSignOfLife(const std::string& sessionId) const {
    const LastObservation* last = lastObservationOf(sessionId);
    const auto rows = store_.database().rows(Statements::sessionRow, {sessionId});
    if (last == nullptr || last->observation.liveness != rawValue(Liveness::alive) || rows.empty()) {
        return {};
    }
    const auto lastSeen = parseDecimal<std::int64_t>(rows.front()[1].value_or(""));
    return " · still alive at " + DateText::timestampUTC(lastSeen.value_or(0));
}

const LastObservation* Chronicle::lastObservationOf(const std::string& sessionId) const {
    const auto last = lastObservations_.find(sessionId);
    return last == lastObservations_.end() ? nullptr : &last->second;
}

void Chronicle::noteDeaths(const std::map<std::string, std::string>& details, Standings& standings,
                           std::int64_t now) {
    for (const auto& [id, detail] : details) {
        store_.appendEvent(id, "died", detail, observed, now);
        standings[id].isDead = true;
    }
}

std::vector<Change> Chronicle::changesSince(std::int64_t eventId) const {
    std::vector<Change> changes;
    store_.database().forEachRow(Statements::eventsAfter, {eventId}, [&](Database::Row& row) {
        const std::int64_t at = parseDecimal<std::int64_t>(row[0].value_or("")).value_or(0);
        changes.push_back({{at, row[1].value_or(""), std::move(row[2]), row[3].value_or("")},
                           row[4].value_or(""),
                           row[5].value_or(""),
                           std::move(row[6]),
                           std::move(row[7])});
    });
    return changes;
}

void Chronicle::throwReadFailure() {
    if (const auto failure = store_.takeReadFailure()) {
        throw StoreError(*failure);
    }
}

}  // namespace brellin
