#pragma once

#include <cstdint>

namespace brellin {

namespace Clock {

/// The time of day in milliseconds since the Unix epoch, as every time in the history is kept.
std::int64_t now();

}  // namespace Clock

}  // namespace brellin
