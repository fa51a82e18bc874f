#pragma once

#include "BrellinCLI/facts/health/Finding.h"
#include "BrellinCLI/facts/health/RunningPrograms.h"

#include <vector>

namespace brellin::cli {

/// The programs that verdicts are made with, and this system's own executables.
namespace ProgramsHealth {

/// @throws Interrupted a stop was requested
std::vector<Finding> find(const RunningPrograms& programs, const StopRequest& stop);

}  // namespace ProgramsHealth

}  // namespace brellin::cli
