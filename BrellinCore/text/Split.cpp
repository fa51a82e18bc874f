#include "BrellinCore/text/Split.h"

#include <algorithm>

namespace brellin {

std::vector<std::string_view> splitDroppingEmpty(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> pieces;
    std::size_t start = text.find_first_not_of(separators);
    while (start != std::string_view::npos) {
        const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
        pieces.push_back(text.substr(start, end - start));
        start = text.find_first_not_of(separators, end);
    }
    return pieces;
}

std::string joinWithSpaces(const std::vector<std::string_view>& pieces) {
    std::string joined;
    for (const std::string_view piece : pieces) {
        joined.append(joined.empty() ? "" : " ").append(piece);
    }
    return joined;
}

}  // namespace brellin
