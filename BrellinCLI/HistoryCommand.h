#pragma once

#include "BrellinCLI/Output.h"

#include <string>

namespace brellin::cli {

/// `havrick history`: what the store knows, sessions long gone and watched targets included.
namespace HistoryCommand {

/// Prints every entry whose id begins with `idPrefix`: where it was last seen and between which times, its
/// names with their windows, and its events with their times. Failure when there is no store (none is
/// created) or no such entry.
ExitStatus show(const std::string& idPrefix);

}  // namespace HistoryCommand

}  // namespace brellin::cli
