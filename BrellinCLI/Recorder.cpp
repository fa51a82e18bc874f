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

/// Writes the "seen" events that an earlier round owes: one that failed, or was killed, between a session's
/// row and its event leaves the session known, and nothing else would ever tell when it was first seen.
void makeGoodFirstSightings(Store& store, const std::vector<SessionRecord>& sessions, std::int64_t now) {
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
/// @param oweSightings set while an earlier round may have left something undone
void recordSnapshot(bool& oweSightings) {
    const Snapshot snapshot = Snapshot::take();
    const std::int64_t now = Clock::now();
    std::vector<std::string> changes;
    DataDirectory::withStore([&](Store& store) {
        if (std::exchange(oweSightings, true)) {
            makeGoodFirstSightings(store, snapshot.sessions, now);
        }
        changes = Reconciler(store).reconcile(snapshot.sessions, snapshot.scan.accounts, now);
    });
    oweSightings = false;
    for (const std::string& change : changes) {
        print(fmt::format("{} {}", DateText::timestampUTC(now), change));
    }
}

}  // namespace

void record(std::optional<double> every) {
    JobLock lock(DataFiles::recorderLock, "a recorder");
    bool oweSightings = true;
    repeatAtInterval(every, [&] {
        lock.acquire();
        recordSnapshot(oweSightings);
    });
}

}  // namespace brellin::cli::Recorder
