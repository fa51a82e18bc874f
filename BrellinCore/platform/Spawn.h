#pragma once

#include "BrellinCore/platform/Descriptor.h"
#include "BrellinCore/platform/Environment.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace brellin {

/// Starts a program by absolute path, in a process group of its own, with its standard output on `output`;
/// for ChildProcess, which says what else the child gets.
///
/// @param variables set in the child, on top of the environment of this process
/// @return nullopt when it could not be started; otherwise the caller has to wait for it
std::optional<pid_t> spawn(const char* executable, const std::vector<std::string>& arguments,
                           const Environment& variables, const Descriptor& output);

}  // namespace brellin
