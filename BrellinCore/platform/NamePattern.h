#pragma once

#include <string>

namespace brellin {

/// Whether a name fits a pattern as a shell matches them: "*", "?" and "[...]".
bool fitsNamePattern(const std::string& pattern, const std::string& name);

}  // namespace brellin
