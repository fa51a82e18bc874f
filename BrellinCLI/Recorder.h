#pragma once

#include <optional>

namespace brellin::cli {

/// `havrick record`: writes what the machine shows now into the history.
namespace Recorder {

/// Takes a snapshot and reconciles it into the store, once or every so many seconds; prints a line with the
/// time for every change. A second recorder on the same data directory would write every event twice, so it
/// is refused.
void record(std::optional<double> every);

}  // namespace Recorder

}  // namespace brellin::cli
