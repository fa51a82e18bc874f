#include "BrellinCore/platform/NamePattern.h"

#include <fnmatch.h>

namespace brellin {

bool fitsNamePattern(const std::string& pattern, const std::string& name) {
    return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

}  // namespace brellin
