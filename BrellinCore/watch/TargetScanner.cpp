#include "BrellinCore/watch/TargetScanner.h"

#include "BrellinCore/watch/TargetReconciler.h"

#include <exception>

namespace brellin::TargetScanner {

Outcome scan(const std::vector<WatchTarget>& targets, Store* store, bool recordHistory, std::int64_t now,
             const std::function<TargetVerdict(const WatchTarget&)>& probe) {
    Outcome outcome;
    for (const WatchTarget& target : targets) {
        outcome.results.push_back({probe(target), std::nullopt});
    }
    if (!recordHistory || store == nullptr) {
        return outcome;
    }
    TargetReconciler reconciler(*store);
    for (const TargetScanResult& result : outcome.results) {
        try {
            reconciler.reconcile(result.verdict, now);
        } catch (const std::exception& failure) {
            if (!outcome.writeError) {
                outcome.writeError = std::string("history could not be written: ") + failure.what();
            }
        }
    }
    for (TargetScanResult& result : outcome.results) {
        result.events = store->events(result.verdict.target.key());
    }
    return outcome;
}

}  // namespace brellin::TargetScanner
