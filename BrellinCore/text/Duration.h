#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace brellin {

/// Lengths of time as people type them: "90d", "12h", "30m", "45s", "500ms", "2w", several together from
/// the largest unit to the smallest ("1h30m"), or a plain number of seconds. Every number may have a
/// fraction
/// ("1.5h", "0.5"); none has a sign, an exponent or a space.
namespace Duration {

/// The forms, for a message that says what would have been accepted.
inline constexpr std::string_view forms = "90d, 12h, 30m, 45s, 500ms, 2w, 1h30m, or a number of seconds";

/// What of a fraction is shorter than a millisecond is dropped. nullopt when the text has another form or
/// is longer than a thousand years.
std::optional<std::chrono::milliseconds> parse(std::string_view text);

/// The same length in a form that parse reads, in whole days, hours, minutes, seconds and milliseconds,
/// without those that are zero: "90d", "1h30m", "45s", "1s500ms"; "0s" for none, a minus sign before a
/// negative one.
std::string describe(std::chrono::milliseconds duration);

}  // namespace Duration

}  // namespace brellin
