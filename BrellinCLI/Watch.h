#pragma once

#include "BrellinCLI/Output.h"

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
ExitStatus list();

/// Probes every target and prints its verdict and occupants, once or again after every pause. With `record`
/// what was seen goes into the history first, in one transaction, and each target's events are printed,
/// too.
///
/// @throws Interrupted a single scan was asked to stop before it was done
ExitStatus scan(bool record, std::optional<std::chrono::milliseconds> every);

}  // namespace Watch

}  // namespace brellin::cli
