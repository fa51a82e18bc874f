#pragma once

#include "BrellinCLI/facts/Health.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace brellin::cli {

/// The state of this installation, for people.
namespace HealthText {

/// A line for each finding: "✓", "!" or "✕", its topic where that begins, and what; below it what to do. A
/// sum comes last.
///
/// @param width where longer lines are broken at spaces, but not within `commands`; nullopt: none is
std::vector<std::string> lines(const Health& health, const std::optional<std::size_t>& width);

}  // namespace HealthText

}  // namespace brellin::cli
