#pragma once

#include <string_view>

namespace brellin {

namespace BrellinVersion {

/// The version of the whole system; the build reads it from this line.
inline constexpr std::string_view current = "1.0.2";

}  // namespace BrellinVersion

}  // namespace brellin
