#pragma once

#include <map>
#include <string>

namespace brellin {

/// Environment variables by name. A plain map, so that every caller can be tested with one of its own.
using Environment = std::map<std::string, std::string>;

/// The environment of this process as it is now. Where a name stands twice, the first entry counts, as it
/// does for getenv.
Environment processEnvironment();

}  // namespace brellin
