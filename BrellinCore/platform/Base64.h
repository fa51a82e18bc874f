#pragma once

#include <string>
#include <string_view>

namespace brellin {

/// The bytes in base64, padded, in one line.
std::string base64(std::string_view bytes);

}  // namespace brellin
