#pragma once

#include "BrellinCLI/Output.h"

#include <functional>
#include <optional>
#include <stdexcept>

namespace brellin::cli {

/// A failure that another round would only meet again.
class PermanentError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Runs a round of work once, or again and again with a pause of `every` seconds until SIGINT or SIGTERM;
/// the round in progress is then finished. What a round throws ends a single run; a repeated run tells it
/// on standard error and tries again in its next round.
///
/// @throws ReaderGone, PermanentError, and for a single run whatever the round threw
void repeatAtInterval(std::optional<double> every, const std::function<void()>& round);

}  // namespace brellin::cli
