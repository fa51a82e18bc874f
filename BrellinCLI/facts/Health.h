#pragma once

#include "BrellinCLI/facts/health/Finding.h"
#include "BrellinCore/platform/StopRequest.h"

#include <boost/json/object.hpp>

#include <string_view>
#include <vector>

namespace brellin::cli {

/// The state of this installation: the programs that it needs, the accounts, the data directory with its
/// history, and who uses it. Nothing is created, changed or locked.
struct Health {
    std::vector<Finding> findings;  ///< topic by topic

    /// @throws Interrupted a stop was requested
    static Health take(const StopRequest& stop);

    /// The worst level of all.
    Finding::Level level() const;
};

/// "ok", "warning" or "error".
std::string_view rawValue(Finding::Level level);

/// {"version", "status", "findings": [...]}, each finding with "topic", "level", "text" and, where
/// something is to be done, "advice".
boost::json::object toJson(const Health& health);

}  // namespace brellin::cli
