#include "BrellinCore/watch/TargetChronicle.h"

#include "BrellinCore/store/Observation.h"
#include "BrellinCore/store/Transaction.h"
#include "BrellinCore/watch/TargetReconciler.h"

namespace brellin::TargetChronicle {

namespace {

bool isWorthObserving(const TargetVerdict& verdict, const Database& history, std::int64_t now) {
    const ProcessSnapshot* primary = verdict.primaryOccupant();
    const Observation next{primary == nullptr ? 0 : primary->pid, std::string(rawValue(verdict.state)),
                           verdict.method, std::nullopt};
    const auto last = LastObservation::of(history, verdict.target.key(), now);
    return !last || last->isOutdatedBy(next, now);
}

}  // namespace

void record(std::vector<TargetScanResult>& results, Store& store, std::int64_t now) {
    store.takeReadFailure();  // of an earlier scan
    Transaction transaction(store.database());
    TargetReconciler reconciler(store, [&](const TargetVerdict& verdict) {
        return isWorthObserving(verdict, store.database(), now);
    });
    for (const TargetScanResult& result : results) {
        reconciler.reconcile(result.verdict, now);
    }
    for (TargetScanResult& result : results) {
        result.events = store.events(result.verdict.target.key());
    }
    if (const auto failure = store.takeReadFailure()) {
        throw StoreError(*failure);
    }
    transaction.commit();
}

}  // namespace brellin::TargetChronicle
