#pragma once

#include "BrellinCLI/views/Output.h"

#include <chrono>

namespace brellin::cli {

/// `havrick top`: the declared sessions, live.
namespace TopCommand {

inline constexpr std::chrono::milliseconds usualPause{2000};

/// Shows the sessions and obeys keys until `q`, SIGINT, SIGTERM or the end of the terminal.
///
/// @param every the pause between two looks; a tenth of a second at least
/// @throws std::runtime_error there is no terminal to draw on
ExitStatus top(std::chrono::milliseconds every);

}  // namespace TopCommand

}  // namespace brellin::cli
