#include "BrellinCore/watch/TargetScanner.h"

#include "BrellinCore/watch/TargetReconciler.h"

#include <exception>
#include <utility>

namespace brellin::TargetScanner {

namespace {

/// Writes one verdict; what failed in words, nullopt when nothing did.
std::optional<std::string> failureOfWriting(const TargetVerdict& verdict, Store& store, std::int64_t now) {
    try {
        TargetReconciler(store).reconcile(verdict, now);
        return std::nullopt;
    } catch (const std::exception& failure) {
        return std::string("history could not be written: ") + failure.what();
    }
}

}  // namespace

Outcome scan(const std::vector<WatchTarget>& targets, Store* store, bool recordHistory, std::int64_t now,
             const std::function<TargetVerdict(const WatchTarget&)>& probe) {
    Outcome outcome;
    for (const WatchTarget& target : targets) {
        outcome.results.push_back({probe(target), std::nullopt});
    }
    if (!recordHistory || store == nullptr) {
        return outcome;
    }
    for (const TargetScanResult& result : outcome.results) {
        auto failure = failureOfWriting(result.verdict, *store, now);
        if (!outcome.writeError) {
            outcome.writeError = std::move(failure);
        }
    }
    for (TargetScanResult& result : outcome.results) {
        result.events = store->events(result.verdict.target.key());
    }
    return outcome;
}

}  // namespace brellin::TargetScanner
