#pragma once

#include "BrellinCore/store/Store.h"
#include "BrellinCore/watch/TargetProbe.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace brellin {

/// One target's verdict, together with its history.
struct TargetScanResult {
    TargetVerdict verdict;
    /// The target's whole event log after the writes, oldest first; absent when none was recorded.
    std::optional<std::vector<StoredEvent>> events;

    friend bool operator==(const TargetScanResult&, const TargetScanResult&) = default;
};

/// Probes a list of targets and, when asked, records what was seen.
namespace TargetScanner {

struct Outcome {
    std::vector<TargetScanResult> results;  ///< one per target, in their order
    /// "history could not be written: " and the first failure in words; absent when every write succeeded.
    std::optional<std::string> writeError;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

/// Probes every target, then writes every verdict, then reads every target's events. Never throws for a
/// store that cannot be written: each target still gets its verdict.
///
/// @param store         nullptr means that nothing is recorded
/// @param recordHistory false means the same
/// @param now           milliseconds since the Unix epoch
/// @param probe         called once per target; TargetProbe::verdict with its enumerators bound fits
Outcome scan(const std::vector<WatchTarget>& targets, Store* store, bool recordHistory, std::int64_t now,
             const std::function<TargetVerdict(const WatchTarget&)>& probe);

}  // namespace TargetScanner

}  // namespace brellin
