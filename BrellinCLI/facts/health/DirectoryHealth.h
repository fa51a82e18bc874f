#pragma once

#include "BrellinCLI/facts/health/Finding.h"

#include <vector>

namespace brellin::cli {

/// The data directory that this command uses: which it is, and who may get at it.
namespace DirectoryHealth {

std::vector<Finding> find();

}  // namespace DirectoryHealth

}  // namespace brellin::cli
