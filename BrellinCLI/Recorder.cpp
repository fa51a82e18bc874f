#include "BrellinCLI/Recorder.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/Output.h"
#include "BrellinCLI/Rounds.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/platform/DateText.h"
#include "BrellinCore/reports/Census.h"
#include "BrellinCore/store/Reconciler.h"

#include <fmt/format.h>

namespace brellin::cli::Recorder {

void record(std::optional<double> every) {
    std::optional<FileLock> lock;
    runRounds(every, [&] {
        if (!lock) {
            lock.emplace(DataDirectory::lockForJob("recorder.lock", "a recorder"));
        }
        const Census census = Census::take();
        const std::int64_t now = Clock::now();
        std::vector<std::string> changes;
        DataDirectory::withStore([&](Store& store) {
            changes = Reconciler(store).reconcile(census.sessions, census.scan.accounts, now);
        });
        for (const std::string& change : changes) {
            print(fmt::format("{} {}", DateText::timestampUTC(now), change));
        }
    });
}

}  // namespace brellin::cli::Recorder
