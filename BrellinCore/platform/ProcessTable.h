#pragma once

#include <cstdint>

namespace brellin {

namespace ProcessTable {

/// True when a process with this id exists (signal 0 reaches it), another user's included. Ids below 1 name
/// groups of processes in the system call, so they are false without one. A zombie exists.
bool contains(std::int32_t pid);

}  // namespace ProcessTable

}  // namespace brellin
