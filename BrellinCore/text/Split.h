#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brellin {

/// The pieces of the text between separator characters, empty pieces dropped. The pieces refer to `text`.
std::vector<std::string_view> splitDroppingEmpty(std::string_view text, std::string_view separators);

/// The pieces joined with single spaces.
std::string joinWithSpaces(const std::vector<std::string_view>& pieces);

}  // namespace brellin
