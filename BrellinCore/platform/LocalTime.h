#pragma once

#include <cstdint>

namespace brellin {

/// What the local time zone says. The zone is the one of TZ, or the machine's own; a change of the
/// machine's zone is noticed at the next call, as it is by every program that starts then.
namespace LocalTime {

/// How many seconds local clocks are ahead of UTC (east is positive) at an instant, given in seconds since
/// the Unix epoch. 0 for an instant whose year no calendar here can hold.
std::int64_t utcOffset(std::int64_t secondsSinceEpoch);

}  // namespace LocalTime

}  // namespace brellin
