#pragma once

#include "BrellinCLI/facts/health/Finding.h"
#include "BrellinCore/store/HistoryReader.h"

#include <optional>
#include <vector>

namespace brellin::cli {

/// The history in the data directory. It is neither created nor changed.
namespace HistoryHealth {

struct Result {
    std::vector<Finding> findings;
    std::optional<HistoryReader::Extent> extent;  ///< absent where it cannot be read
};

Result find();

}  // namespace HistoryHealth

}  // namespace brellin::cli
