#include "BrellinCLI/commands/Recorder.h"

#include "BrellinCLI/DataDirectory.h"
#include "BrellinCLI/RepeatAtInterval.h"
#include "BrellinCLI/facts/JsonFields.h"
#include "BrellinCLI/facts/SessionLook.h"
#include "BrellinCLI/views/EventLine.h"
#include "BrellinCLI/views/Output.h"
#include "BrellinCore/platform/Clock.h"
#include "BrellinCore/store/Chronicle.h"
#include "BrellinCore/store/DataFiles.h"
#include "BrellinCore/store/Pruning.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace brellin::cli::Recorder {

namespace {

/// One recorder at work, round after round.
class Rounds {
  public:
    Rounds(const StopRequest& stop, const Options& options)
        : stop_(stop), options_(options), history_(stop), look_(stop) {}

    void runOne() {
        lock_.acquire();
        SessionLook::DeclaredSessions expected;
        history_.use([&](Store& store) { expected = Chronicle(store).declaredSessions(); });
        Chronicle::Round round = look_.take(expected);
        round.now = Clock::now();
        std::vector<Change> changes;
        history_.use([&](Store& store) { changes = Chronicle(store).record(round); });
        for (const Change& change : changes) {
            printChange(change, round.accounts);
        }
        pruneOnceADay(round.now);
    }

  private:
    void printChange(const Change& change, const std::vector<ClaudeAccount>& accounts) const {
        const auto account = std::ranges::find(accounts, change.accountPath, &ClaudeAccount::path);
        const std::string& label = account == accounts.end() ? change.accountPath : account->label;
        if (options_.asJson) {
            printDocument(EventLine::json(change, label));
        } else {
            print(EventLine::text(change, label));
        }
    }

    void pruneOnceADay(std::int64_t now) {
        constexpr std::int64_t day = 24LL * 60 * 60 * 1000;
        const bool isDue = now - prunedAt_ >= day || now < prunedAt_;
        if (!options_.keep || !isDue) {
            return;
        }
        history_.use([&](Store& store) {
            Pruning::removeObservations(store.database(), now - options_.keep->count(),
                                        [this] { return stop_.hasArrived(); });
        });
        prunedAt_ = now;
    }

    const StopRequest& stop_;
    Options options_;
    JobLock lock_{DataFiles::recorderLock, "a recorder"};
    WritableHistory history_;
    SessionLook look_;
    std::int64_t prunedAt_ = 0;
};

}  // namespace

void record(const Options& options) {
    const StopRequest stop;
    Rounds rounds(stop, options);
    repeatAtInterval(stop, options.every, [&] { rounds.runOne(); });
}

}  // namespace brellin::cli::Recorder
