#pragma once

#include "BrellinCLI/facts/health/Finding.h"
#include "BrellinCLI/facts/health/RunningPrograms.h"
#include "BrellinCore/store/HistoryReader.h"

#include <optional>
#include <vector>

namespace brellin::cli {

/// Who records, and where.
namespace RecorderHealth {

/// @param extent of the history that is recorded into; nullopt where there is none
std::vector<Finding> find(const RunningPrograms& programs,
                          const std::optional<HistoryReader::Extent>& extent);

}  // namespace RecorderHealth

}  // namespace brellin::cli
