#pragma once

#include "BrellinCLI/facts/health/Finding.h"
#include "BrellinCLI/facts/health/RunningPrograms.h"
#include "BrellinCore/accounts/ClaudeAccount.h"

#include <vector>

namespace brellin::cli {

/// Which data directories the servers use that hosts start.
namespace ServersHealth {

std::vector<Finding> find(const RunningPrograms& programs, const std::vector<ClaudeAccount>& accounts);

}  // namespace ServersHealth

}  // namespace brellin::cli
