#include "BrellinCLI/Recorder.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/Output.h"
#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/reports/Snapshot.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Reconciler.h"
#include "BrellinCore/text/DateText.h"

#include <fmt/format.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace brellin::cli::Recorder {

namespace {

/// Adds missing "seen" events. A round that died between a session's row and its event left no event, and
/// the reconciler takes the session for known ever after.
void addMissingSeenEvents(Store& store, const std::vector<SessionRecord>& sessions, std::int64_t now) {
    const std::set<std::string> unseen = store.sessionIdsWithoutEvent("seen");
    for (const SessionRecord& session : sessions) {
        if (unseen.contains(session.sessionId)) {
            store.appendEvent(session.sessionId, "seen",
                              "first observation · account " + session.accountPath, "observed", now);
        }
    }
}

/// Writes one snapshot and prints what changed.
///
/// @param mayMissEvents true until a round has ended well: an earlier one may have died half way
void recordSnapshot(bool& mayMissEvents) {
    const Snapshot snapshot = Snapshot::take(AccountScanner::Identities::read);
    const std::int64_t now = Clock::now();
    std::vector<std::string> changes;
    DataDirectory::withStore([&](Store& store) {
        if (std::exchange(mayMissEvents, true)) {
            addMissingSeenEvents(store, snapshot.sessions, now);
        }
        changes = Reconciler(store).reconcile(snapshot.sessions, snapshot.scan.accounts, now);
    });
    mayMissEvents = false;
    for (const std::string& change : changes) {
        print(fmt::format("{} {}", DateText::timestampUTC(now), change));
    }
}

}  // namespace

void record(std::optional<double> every) {
    JobLock lock(DataFiles::recorderLock, "a recorder");
    bool mayMissEvents = true;
    repeatAtInterval(every, [&] {
        lock.acquire();
        recordSnapshot(mayMissEvents);
    });
}

}  // namespace brellin::cli::Recorder
