#pragma once

namespace brellin {

/// Absolute paths of the system's own programs that are run. PATH is never searched.
namespace SystemPrograms {

/// "/bin/ps".
const char* ps();

/// "/usr/sbin/lsof", or "/usr/bin/lsof" where that does not exist.
const char* lsof();

}  // namespace SystemPrograms

}  // namespace brellin
