#pragma once

#include "BrellinCLI/facts/health/Finding.h"
#include "BrellinCore/accounts/ClaudeAccount.h"
#include "BrellinCore/platform/StopRequest.h"

#include <vector>

namespace brellin::cli {

/// The accounts, and the session files in them.
namespace AccountsHealth {

/// @throws Interrupted a stop was requested
std::vector<Finding> find(const AccountScan& scan, const StopRequest& stop);

}  // namespace AccountsHealth

}  // namespace brellin::cli
