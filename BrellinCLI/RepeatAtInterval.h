#pragma once

#include "BrellinCLI/views/Output.h"
#include "BrellinCore/platform/StopRequest.h"

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>

namespace brellin::cli {

/// An error that the next round would meet again.
class PermanentError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Runs a round of work: once without `every`, otherwise again and again with a pause of that length until
/// a stop is requested, which lets the round in progress end or be given up. A repeated run prints what a
/// round throws on standard error and goes on with the next round.
///
/// @throws ReaderGone, PermanentError, and for a single run whatever the round threw
void repeatAtInterval(const StopRequest& stop, std::optional<std::chrono::milliseconds> every,
                      const std::function<void()>& round);

}  // namespace brellin::cli
