#pragma once

#include <chrono>
#include <optional>

namespace brellin::cli {

/// `havrick record`: writes what the machine shows now into the history.
namespace Recorder {

struct Options {
    std::optional<std::chrono::milliseconds> every;  ///< goes on, with a pause of that length
    std::optional<std::chrono::milliseconds> keep;   ///< older observations are removed once a day
    bool asJson = false;                             ///< one JSON document a line
};

/// Looks at the machine and then writes what was found, in one transaction; prints a line for every change.
/// A second recorder on the same data directory would write every event twice, so it is refused.
///
/// @throws Interrupted a single run was asked to stop before it wrote
void record(const Options& options);

}  // namespace Recorder

}  // namespace brellin::cli
