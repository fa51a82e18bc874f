#pragma once

#include <cstdint>
#include <string>

namespace brellin::cli {

/// How long something lasts, in its largest unit, for a column of a list: "45s", "12m", "3h", "5d". Less
/// than no time is "0s".
///
/// @param milliseconds the length
std::string shortAge(std::int64_t milliseconds);

/// How long ago something was, in words: "just now", "3 min ago", "2 h ago", "5 days ago"; "in the future"
/// where a clock was set back.
std::string ago(std::int64_t milliseconds);

}  // namespace brellin::cli
