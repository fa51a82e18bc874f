#pragma once

#include <array>
#include <string_view>

namespace brellin {

/// The SHA-256 digest of the bytes.
std::array<unsigned char, 32> sha256(std::string_view bytes);

}  // namespace brellin
