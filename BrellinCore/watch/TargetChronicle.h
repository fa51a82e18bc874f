#pragma once

#include "BrellinCore/store/Store.h"
#include "BrellinCore/watch/TargetScanner.h"

#include <cstdint>
#include <vector>

namespace brellin {

/// Keeps the history of watched targets: what a scan found is written by a TargetReconciler, all of it in
/// one transaction, and observations that say nothing new once an hour.
namespace TargetChronicle {

/// Writes the verdicts, and adds to each result its target's whole event log, oldest first.
///
/// @param now milliseconds since the Unix epoch
/// @throws StoreError a read or a write failed, and nothing was written
void record(std::vector<TargetScanResult>& results, Store& store, std::int64_t now);

}  // namespace TargetChronicle

}  // namespace brellin
