#pragma once

#include "BrellinCore/store/Database.h"

#include <cstdint>
#include <functional>

namespace brellin {

/// Takes out of the history what is perishable. Events, names and sessions stay.
namespace Pruning {

struct Result {
    std::int64_t observations = 0;  ///< how many were removed
    std::int64_t freedBytes = 0;    ///< of the file that new rows fill again, or that a vacuum gives back
};

/// Removes the observations made before a time (milliseconds since the Unix epoch), in steps, so that
/// nobody waits long for the right to write.
///
/// @param isStopped asked between two steps; true ends the work early
/// @throws StoreError a step failed; those before it stay
Result removeObservations(
    Database& history, std::int64_t before, const std::function<bool()>& isStopped = [] { return false; });

/// Gives unused space back to the file system; the number of bytes by which the database shrank.
///
/// @throws StoreError (step) there is no room for the copy that this takes, or another process is at work
std::int64_t vacuum(Database& history);

}  // namespace Pruning

}  // namespace brellin
