#pragma once

#include "BrellinCore/platform/StopRequest.h"

#include <chrono>

namespace brellin {

/// The terminal at which a person types: standard input.
namespace Terminal {

/// True when both standard input and standard output are terminals.
bool isInteractive();

struct Size {
    int rows = 0;
    int columns = 0;
};

/// How large the terminal says it is; zeros when it does not say.
Size size();

/// Waits until something was typed or the terminal is gone. False when the time is over first, or a signal
/// arrived, as one does when the terminal is resized.
bool hasInputWithin(std::chrono::milliseconds duration, const StopRequest& stop);

}  // namespace Terminal

}  // namespace brellin
