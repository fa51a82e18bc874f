#include "BrellinCore/store/Reconciler.h"

#include "BrellinCore/text/Utf8.h"

#include <fmt/format.h>

#include <set>

namespace brellin {

namespace {

std::string change(std::string_view what, std::string_view sessionId) {
    constexpr std::size_t shownIdLength = 8;
    return fmt::format("{}:{}", what, Utf8::prefix(sessionId, shownIdLength));
}

}  // namespace

std::vector<std::string> Reconciler::reconcile(const std::vector<SessionRecord>& records,
                                               const std::vector<ClaudeAccount>& accounts,
                                               std::int64_t now) {
    for (const ClaudeAccount& account : accounts) {
        store_.recordAccount(account, now);
    }
    const std::set<std::string> known = options_.known ? *options_.known : store_.knownSessionIds();
    std::set<std::string> vanished = known;
    std::vector<std::string> changes;
    for (const SessionRecord& record : records) {
        store_.upsertSession(record, now);
        if (!known.contains(record.sessionId)) {
            store_.appendEvent(record.sessionId, "seen",
                               "first observation · account " + record.accountPath, "observed", now);
            changes.push_back(change("seen", record.sessionId));
        }
        reconcileName(record, now, changes);
        const LivenessVerdict verdict = options_.verdict(record);
        if (options_.isWorthObserving(record, verdict)) {
            store_.appendObservation(record.sessionId, record.pid, verdict, record.reportedStatus, now);
        }
        vanished.erase(record.sessionId);
    }
    for (const std::string& sessionId : vanished) {
        // Once in the life of the store: a session that returns and vanishes again gets no second one.
        if (!store_.hasEvent(sessionId, "undeclared")) {
            store_.appendEvent(sessionId, "undeclared",
                               "no longer has a registry entry in any enumerated account", "observed", now);
            changes.push_back(change("undeclared", sessionId));
        }
    }
    return changes;
}

void Reconciler::reconcileName(const SessionRecord& record, std::int64_t now,
                               std::vector<std::string>& changes) {
    if (!record.name) {
        return;
    }
    const auto stored = store_.currentName(record.sessionId);
    if (stored && stored->name == *record.name) {
        return;
    }
    const auto ref = record.peerRef();
    if (stored) {
        store_.closeName(record.sessionId, now);
        if (stored->ref == ref) {
            store_.appendEvent(
                record.sessionId, "renamed",
                fmt::format("{} → {} · ref unchanged ({}) · source: {}", stored->name, *record.name,
                            ref.value_or("?"), record.nameSource.value_or("explicit")),
                "observed", now);
            changes.push_back("renamed:" + *record.name);
        } else {
            store_.appendEvent(
                record.sessionId, "reincarnated",
                fmt::format("{} [{}] → {} [{}] · a new process; the old address no longer delivers",
                            stored->name, stored->ref.value_or("?"), *record.name, ref.value_or("?")),
                "inferred", now);
            changes.push_back("reincarnated:" + *record.name);
        }
    }
    store_.openName(record.sessionId, *record.name, ref, record.nameSource, now);
}

}  // namespace brellin
