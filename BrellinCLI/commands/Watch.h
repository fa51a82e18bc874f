#pragma once

#include "BrellinCLI/views/Output.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace brellin::cli {

/// `havrick watch`: keeps the watch list in the data directory and looks at its targets.
///
/// An entry that is no spec is reported on standard error. A list with such an entry is left as it is,
/// since saving would lose the entry; `force` saves all the same.
namespace Watch {

/// Adds targets by their specs. A rejected spec or a duplicate is reported and makes the result a failure;
/// the others are still added.
ExitStatus add(const std::vector<std::string>& specs, bool force);

/// Removes targets by their keys, likewise.
ExitStatus remove(const std::vector<std::string>& keys, bool force);

/// Prints each target's key and description.
///
/// @param asJson as {"targets": [{"key", "description"}]}
ExitStatus list(bool asJson);

struct ScanOptions {
    bool isRecorded = false;  ///< what is seen goes into the history, and events are shown
    std::optional<std::chrono::milliseconds> every;  ///< again and again, with a pause of that length
    bool isFull = false;                             ///< each round shows all, not only what is new
    bool asJson = false;                             ///< one document a round
};

/// Probes every target and prints its verdict, its occupants and, when recorded, its events; later rounds
/// print what is new. What is recorded is written first, in one transaction.
///
/// @throws Interrupted a single scan was asked to stop before it was done
ExitStatus scan(const ScanOptions& options);

}  // namespace Watch

}  // namespace brellin::cli
