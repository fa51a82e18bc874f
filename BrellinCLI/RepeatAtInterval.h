#pragma once

#include "BrellinCLI/Output.h"

#include <functional>
#include <optional>
#include <stdexcept>

namespace brellin::cli {

/// An error that the next round would meet again.
class PermanentError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Runs a round of work: once without `every`, otherwise again and again with a pause of so many seconds
/// until SIGINT or SIGTERM arrives, which lets the round in progress end. A repeated run prints what a
/// round throws on standard error and goes on with the next round.
///
/// @throws ReaderGone, PermanentError, and for a single run whatever the round threw
void repeatAtInterval(std::optional<double> every, const std::function<void()>& round);

}  // namespace brellin::cli
