#pragma once

#include "BrellinCore/platform/Environment.h"

#include <cstdint>
#include <optional>
#include <string>

namespace brellin {

namespace ProcessTable {

/// True when a process with this id exists (signal 0 reaches it), another user's included. Ids below 1 name
/// groups of processes in the system call, so they are false without one. A zombie exists.
bool contains(std::int32_t pid);

/// The id of this process, and of the user who started it.
std::int32_t ownPid();
std::uint32_t ownUser();

/// The environment with which a process was started; nullopt where the system does not tell: for other
/// users' processes, and on macOS.
std::optional<Environment> environmentOf(std::int32_t pid);

/// The file that this process executes, symbolic links resolved; nullopt where the system does not tell, as
/// on Linux without /proc.
std::optional<std::string> ownExecutable();

}  // namespace ProcessTable

}  // namespace brellin
