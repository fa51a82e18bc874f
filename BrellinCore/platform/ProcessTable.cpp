#include "BrellinCore/platform/ProcessTable.h"

#include <signal.h>  // NOLINT(modernize-deprecated-headers): kill is POSIX, not C++

#include <cerrno>

namespace brellin::ProcessTable {

bool contains(std::int32_t pid) {
    return pid >= 1 && (::kill(pid, 0) == 0 || errno == EPERM);
}

}  // namespace brellin::ProcessTable
