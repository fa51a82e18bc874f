#pragma once

#include "BrellinCore/platform/Environment.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace brellin::bench {

/// Starts a program by absolute path with these standard streams; its standard error is the null device.
///
/// @throws std::runtime_error it cannot be started
pid_t spawn(const std::vector<std::string>& command, const Environment& environment, int input, int output);

/// Waits for its end; its exit status, -1 when a signal ended it.
int waitForExit(pid_t pid);

/// Runs it to its end on null devices.
///
/// @throws std::runtime_error it failed: its time would mean nothing
void run(const std::vector<std::string>& command, const Environment& environment);

}  // namespace brellin::bench
